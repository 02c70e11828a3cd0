"""The examples of owners, and those in the owner's guide: each does what it says, with an installed helper."""

import os
import pathlib
import re
import signal
import subprocess
import xml.etree.ElementTree as xml

import pytest

import owner as owners
import processes
import scripted_server as scripts
import servers

SOURCES = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = SOURCES / "examples"


@pytest.fixture
def environment(installed, bus, tmp_path):
    kept = {key: value for key, value in os.environ.items() if not key.lower().endswith("_proxy")}
    kept.pop("TELVO_HELPER", None)
    [package] = installed.rglob("telvo-owner.pc")
    return kept | {"DBUS_SESSION_BUS_ADDRESS": bus.address, "HOME": str(tmp_path),
                   "XDG_CONFIG_HOME": str(tmp_path / "config"), "PKG_CONFIG_PATH": str(package.parent),
                   "LD_LIBRARY_PATH": str(package.parents[1])}


@pytest.fixture
def cpp_example(environment, tmp_path):
    """Built the way its README says. The installation is not where it was built to be, so the path names the helper."""
    command = re.search(r"^g\+\+ .*$", (EXAMPLES / "owner-cpp" / "README.md").read_text(), re.MULTILINE).group()
    subprocess.run(["sh", "-c", command.replace("-o upload", f"-o {tmp_path}/upload")], check=True, env=environment,
                   cwd=EXAMPLES / "owner-cpp", timeout=300)
    return tmp_path / "upload"


@pytest.fixture(params=["cpp", "python-gio", "python-dasbus", "shell"])
def example(request):
    if request.param == "cpp":
        request.getfixturevalue("environment")["PATH"] += f":{request.getfixturevalue('installed')}/libexec/telvo"
        return request.getfixturevalue("cpp_example")
    return EXAMPLES / {"python-gio": "owner-python/owner_gio.py", "python-dasbus": "owner-python/owner_dasbus.py",
                       "shell": "owner-shell/owner.sh"}[request.param]


def start(example, environment, *arguments):
    return processes.start([example, *arguments], env=environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                           stderr=subprocess.PIPE, text=True)


def run(example, environment, password, *arguments):
    process = start(example, environment, *arguments)
    try:
        output, error = process.communicate(f"{password}\n", timeout=120)
        return process.returncode, output, error
    finally:
        processes.end(process)


def test_an_example_uploads_and_tells_of_each_item(example, environment, tmp_path, small_tree):
    (small_tree.path / "with space.txt").write_text("c")
    with servers.ProFTPD() as server:
        status, output, error = run(example, environment, server.password, small_tree.path, server.address,
                                    server.username)
        assert (status, error) == (0, "")
        lines = output.splitlines()
        assert lines[0] == f"1 of 4 {small_tree.path}"
        assert sorted(line.partition(" of 4 ")[0] for line in lines) == ["1", "2", "3", "4"]
        assert small_tree.differences(server.root) == []


def test_an_example_tells_what_has_not_arrived(example, environment, scripted, small_tree):
    scripted.on("STOR", scripts.reply(b"553 not today"))
    status, _, error = run(example, environment, scripted.password, small_tree.path, scripted.address, "telvo")
    assert status == 1
    assert "not today" in error
    assert len(scripted.files) == 1


def test_the_shells_owner_stops_on_ctrl_c(environment, scripted, small_tree):
    scripted.on("STOR", scripts.silence)
    process = start(EXAMPLES / "owner-shell" / "owner.sh", environment, small_tree.path, scripted.address, "telvo")
    process.stdin.write(f"{scripted.password}\n")
    process.stdin.flush()
    processes.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
    process.send_signal(signal.SIGINT)
    output, _ = process.communicate(timeout=60)
    assert process.returncode == 1
    assert "2 of 3" in output and "3 of 3" not in output
    assert scripted.verbs().count("STOR") == 1


def shell_blocks():
    text = (SOURCES / "docs" / "owners-guide.md").read_text()
    return re.findall(r"```sh\n(.*?)```", text[text.index("## Trying it by hand"):], re.DOTALL)


def test_the_guides_example_runs_as_it_stands(environment, installed, scripted, small_tree, tmp_path):
    """But for the names of the folder and the server, which are the reader's."""
    listen, launch, stop = shell_blocks()
    scripted.on("STOR", scripts.silence)
    for example, own in (("/home/anna/Site", str(small_tree.path)), ("ftp.example.com", scripted.address),
                         ('"anna"', f'"{scripted.username}"'), ('"secret"', f'"{scripted.password}"')):
        assert example in launch
        launch = launch.replace(example, own)
    heard = tmp_path / "heard"
    with open(heard, "w") as output:
        listening = processes.start(["sh", "-c", listen], env=environment, stdout=output)
    processes.wait_until(lambda: heard.read_text(), what="the listener")
    owner = processes.start(["sh", "-c", launch], env=environment, stderr=subprocess.PIPE, text=True)
    try:
        processes.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
        subprocess.run(["sh", "-c", stop], check=True, env=environment, timeout=60)
        processes.wait_until(lambda: "boolean false" in heard.read_text(), what="the last record")
        assert owners.PROGRESS in heard.read_text() and owners.STOP in heard.read_text()
        assert f"{small_tree.path}/" in heard.read_text()
    finally:
        for process in (owner, listening):
            processes.end(process)
    assert "shouldStop received" in owner.stderr.read()
    owner.stderr.close()


def test_the_interface_is_described_as_it_is(installed):
    [path] = installed.glob("share/dbus-1/interfaces/*.xml")
    node = xml.parse(path).getroot()
    assert node.get("name") == owners.OBJECT_PATH
    [interface] = node
    assert interface.get("name") == owners.INTERFACE == path.stem
    [posted] = interface
    assert (posted.tag, posted.get("name")) == ("signal", "Posted")
    assert "".join(argument.get("type") for argument in posted) == "ssa{sv}"
    # What can be posted is told in the comments: all that the guide knows.
    posts = r"TelvoFTPHelper\w+DistributedNotification"
    guide = (SOURCES / "docs" / "owners-guide.md").read_text()
    assert set(re.findall(posts, path.read_text())) == set(re.findall(posts, guide))


def test_the_helper_is_found_by_pkg_config(installed, environment):
    found = subprocess.check_output(["pkg-config", "--variable=helper", "telvo-owner"], env=environment, text=True)
    assert pathlib.Path(found.strip()).samefile(installed / "libexec" / "telvo" / "TelvoFTPHelper")
