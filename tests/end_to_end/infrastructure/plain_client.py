"""An FTP client that is not ours, for tests of what the other tests rest on."""

import ftplib
import io
import urllib.parse


def log_in(server):
    client = ftplib.FTP(timeout=20, encoding="utf-8")
    client.connect(server.host, server.port)
    client.login(server.username, server.password)
    return client


def upload(client, source):
    for path in [source.path, *sorted(source.path.rglob("*"))]:
        remote = urllib.parse.unquote("/" + str(path.relative_to(source.path.parent)))
        if path.is_dir():
            client.mkd(remote)
        else:
            with open(path, "rb") as file:
                client.storbinary(f"STOR {remote}", file)


def store(client, name="/a", content=b"content"):
    return client.storbinary(f"STOR {name}", io.BytesIO(content))
