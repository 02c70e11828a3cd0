"""What the other tests rest on, proven with a client that is not ours."""

import ftplib
import io
import socket
import subprocess
import time

import pytest
from gi.repository import GLib

import bus as buses
import owner as owners
import server_program
import servers
import tree
from control_tap import ControlTap
from latency_link import LatencyLink
from plain_client import log_in, store, upload
from scripted_server import ScriptedServer


def test_a_tree_uploaded_to_a_real_server_compares_equal(server, sample_tree):
    upload(log_in(server), sample_tree)
    assert sample_tree.differences(server.root) == []


@pytest.mark.parametrize("kind", servers.ALL, ids=lambda kind: kind.name)
def test_a_real_server_is_reached_over_ipv6(kind, sample_tree):
    with kind(host="::1") as server:
        upload(log_in(server), sample_tree)
        assert sample_tree.differences(server.root) == []


def test_a_real_server_refuses_a_wrong_password(server):
    with pytest.raises(ftplib.error_perm, match="530"):
        client = ftplib.FTP(timeout=20)
        client.connect(server.host, server.port)
        client.login(server.username, "wrong")


@pytest.mark.parametrize("kind", [kind for kind in servers.ALL if kind.allows_anonymous], ids=lambda kind: kind.name)
def test_servers_that_allow_it_take_anonymous_uploads(kind):
    with kind() as server:
        client = ftplib.FTP(timeout=20)
        client.connect(server.host, server.port)
        client.login()
        client.storbinary("STOR /a", io.BytesIO(b"content"))
        assert (server.root / "a").read_bytes() == b"content"


@pytest.mark.parametrize("folder", ["usr/lib/riscv64-linux-gnu", "lib/x86_64-linux-gnu", "usr/lib"])
def test_unpacked_programs_find_the_libraries_beside_them_on_every_architecture(tmp_path, monkeypatch, folder):
    library = tmp_path / "vsftpd" / folder / "libwrap.so.0"
    library.parent.mkdir(parents=True)
    library.touch()
    monkeypatch.setattr(server_program, "SERVERS_FOLDER", tmp_path)
    monkeypatch.setenv("LD_LIBRARY_PATH", "/the/test's/own")
    assert servers.Vsftpd.environment()["LD_LIBRARY_PATH"] == f"{library.parent}:/the/test's/own"
    # Nothing is added for a program without libraries: an empty entry would stand for the current folder.
    monkeypatch.delenv("LD_LIBRARY_PATH")
    assert "LD_LIBRARY_PATH" not in servers.PureFTPd.environment()
    assert "LD_LIBRARY_PATH" not in servers.Pyftpdlib.environment()


def test_servers_leave_nothing_behind():
    with servers.ProFTPD() as server:
        folder, port = server.folder, server.port
    assert not folder.exists()
    with pytest.raises(ConnectionRefusedError):
        socket.create_connection(("127.0.0.1", port), 1)


def test_a_tree_tells_every_kind_of_difference(tmp_path):
    local = tree.Tree(tmp_path / "local" / "Site")
    for name in ("same", "missing", "longer", "altered", "became-folder"):
        local.file(name, b"content")
    local.file("renamed%20here", b"content", remote="renamed here")
    remote = tmp_path / "remote" / "Site"
    (remote / "became-folder").mkdir(parents=True)
    for name, content in (("same", b"content"), ("longer", b"content+"), ("altered", b"conTent"),
                          ("renamed here", b"content"), ("extra", b"")):
        (remote / name).write_bytes(content)
    assert sorted(local.differences(tmp_path / "remote")) == [
        "Site/altered differs", "Site/became-folder differs", "Site/extra arrived unasked", "Site/longer differs",
        "Site/missing did not arrive",
    ]


def test_the_tap_counts_logins_and_records_commands(server):
    with ControlTap(server) as tap:
        for _ in range(2):
            client = ftplib.FTP(timeout=20)
            client.connect(server.host, tap.port)
            client.login(server.username, server.password)
            client.storbinary("STOR /a", io.BytesIO(b"content"))
            client.quit()
    assert tap.logins == 2
    assert tap.connections == 2
    assert tap.verbs().count("STOR") == 2
    assert (0, f"USER {server.username}".encode()) in tap.commands
    assert (server.root / "a").read_bytes() == b"content"


def test_the_link_delays_every_packet_the_opening_ones_included():
    with LatencyLink(round_trip=0.1) as link, servers.Pyftpdlib(host=link.server.address, side=link.server) as server:
        def connect():
            started = time.monotonic()
            connection = socket.create_connection((server.host, server.port), 20)
            connected = time.monotonic()
            assert connection.recv(3) == b"220"
            return connected - started, time.monotonic() - started

        # Never less than the way takes, however slow the machine is; the greeting can only come after the opening.
        opening, greeting = link.client.run(connect)
        assert opening >= 0.1
        assert greeting >= 0.1

        def store():
            log_in(server).storbinary("STOR /big", io.BytesIO(b"x" * 3_000_000))

        link.client.run(store)
        assert (server.root / "big").stat().st_size == 3_000_000


# The bus and the owner.


def test_applications_hear_each_other_as_the_wire_format_says(bus):
    info = {"LocalPath": GLib.Variant("s", "/a/ü"), "Nth": GLib.Variant("t", 1), "IsMore": GLib.Variant("b", True)}
    with owners.Application(bus) as one, owners.Application(bus) as other:
        one.post(owners.PROGRESS, "token", info)
        one.post(owners.STOP)
        one.post(owners.STOP, "")
        other.wait_until(lambda: len(other.heard) == 3)
    first, second, third = other.heard
    assert (first.name, first.object) == (owners.PROGRESS, "token")
    assert first.record == {"LocalPath": "/a/ü", "Nth": 1, "IsMore": True}
    assert first.record_types == {"LocalPath": "s", "Nth": "t", "IsMore": "b"}
    assert not first.is_last
    assert (second.name, second.object, second.record) == (owners.STOP, None, None)
    assert second.is_last
    assert third.object is None


def test_a_signal_from_the_command_line_is_heard(bus):
    with owners.Application(bus) as application:
        subprocess.run(
            ["gdbus", "emit", "--session", "--object-path", owners.OBJECT_PATH,
             "--signal", f"{owners.INTERFACE}.Posted", owners.STOP, "token-1", "{'HasObject': <true>}"],
            env=bus.environment, check=True,
        )
        application.wait_until(lambda: application.heard)
        assert application.heard[0].name == owners.STOP
        assert application.heard[0].object == "token-1"


def test_a_quit_is_a_name_without_an_owner(bus):
    with owners.Application(bus) as watcher:
        with owners.Application(bus, "com.example.Owner") as application:
            assert watcher.has_owner("com.example.Owner")
            application.release_name()
            assert not watcher.has_owner("com.example.Owner")
        with owners.Application(bus, "com.example.Owner"):
            assert watcher.has_owner("com.example.Owner")
        watcher.wait_until(lambda: not watcher.has_owner("com.example.Owner"))


def test_buses_do_not_hear_each_other(bus):
    with buses.SessionBus() as other_bus, owners.Application(bus) as one, owners.Application(other_bus) as other:
        one.post(owners.STOP, "token")
        one.wait_until(lambda: one.heard)
        assert other.heard == []


def test_the_owner_gathers_arguments_log_lines_and_exit_status(bus, tmp_path):
    program = tmp_path / "helper"
    program.write_text(
        """#!/bin/sh
printf '2026-01-02 03:04:05.678 TelvoFTPHelper[%d] %s\\n' $$ "$*" >&2
exit 3
"""
    )
    program.chmod(0o755)
    with ScriptedServer() as server, owners.Owner(bus, program, tmp_path, token=None) as owner:
        helper = owner.launch(tmp_path / "Site", server, debug=None, cachedInfoPath="")
        assert helper.wait() == 3
        assert helper.log() == [
            f"-bundleIdentifier com.example.Owner -sourcePath {tmp_path}/Site -host 127.0.0.1:{server.port} "
            "-username telvo -password secret -cachedInfoPath "
        ]
