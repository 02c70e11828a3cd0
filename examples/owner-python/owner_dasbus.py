#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Uploads a folder: owner_dasbus.py SOURCE HOST[:PORT] [USER], with the password on standard input."""

import os
import shutil
import subprocess
import sys
import uuid

from dasbus.connection import SessionMessageBus
from dasbus.loop import EventLoop
from gi.repository import GLib

PATH = "/com/telvo/DistributedNotificationCenter"
INTERFACE = "com.telvo.DistributedNotificationCenter"
PROGRESS = "TelvoFTPHelperProgressDistributedNotification"

source, host, *user = sys.argv[1:]
password = sys.stdin.readline().rstrip("\n") if user else ""
name = f"com.example.Owner.p{os.getpid()}"
token = str(uuid.uuid4())
loop = EventLoop()
missing = []


def posted(kind, about, details):
    if kind != PROGRESS or about != token:
        return
    record = details.get("UserInfo", {})
    if record:
        print(f"{record['Nth']} of {record['Total']} {record['LocalPath']}")
        if record.get("Outcome") != "sent":
            missing.append(record["LocalPath"])
            print(f"{record['LocalPath']}: {record.get('Error', 'not told')}", file=sys.stderr)
    if not record.get("IsMore", False):
        loop.quit()


bus = SessionMessageBus()
# The helper has no object to ask for its interface: the signal is subscribed to by its name.
bus.connection.signal_subscribe(None, INTERFACE, "Posted", PATH, None, 0,
                                lambda *signal: posted(*signal[5].unpack()))
bus.register_service(name)
helper = os.environ.get("TELVO_HELPER") or shutil.which("TelvoFTPHelper") or subprocess.check_output(
    ["pkg-config", "--variable=helper", "telvo-owner"], text=True).strip()
command = [helper, "-bundleIdentifier", name, "-notificationIdentifier", token, "-sourcePath", source, "-host", host,
           "-escapeNames", "YES", "-reportOutcomes", "YES"]
if user:
    command += ["-username", user[0], "-password", password]
process = subprocess.Popen(command)
GLib.child_watch_add(GLib.PRIORITY_LOW, process.pid, lambda *_: (missing.append(source), loop.quit()))
loop.run()
# The name leaves the bus with this program, and the helper follows.
sys.exit(1 if missing else 0)
