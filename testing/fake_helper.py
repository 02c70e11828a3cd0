#!/usr/bin/python3
"""In the helper's place: says what the test wants the owner to hear. The scenario is the name of -sourcePath."""

import json
import os
import signal
import sys

from gi.repository import Gio, GLib

PATH = "/com/telvo/DistributedNotificationCenter"
INTERFACE = "com.telvo.DistributedNotificationCenter"
OWN = "TelvoFTPHelper%sDistributedNotification"

arguments = dict(zip((key[1:] for key in sys.argv[1::2]), sys.argv[2::2]))
token = arguments["notificationIdentifier"]
scenario = os.path.basename(arguments["sourcePath"])
connection = Gio.bus_get_sync(Gio.BusType.SESSION)
loop = GLib.MainLoop()


def post(kind, contents=None, posted_object=token):
    details = {"DeliverImmediately": GLib.Variant("b", True)}
    if contents is not None:
        details["UserInfo"] = GLib.Variant("a{sv}", contents)
    connection.emit_signal(None, PATH, INTERFACE, "Posted",
                           GLib.Variant("(ssa{sv})", (OWN % kind, posted_object, details)))


def item(nth, total, **more):
    values = {"LocalPath": GLib.Variant("s", f"/item/{nth}"), "RemoteDirectory": GLib.Variant("s", "/"),
              "Nth": GLib.Variant("t", nth), "Total": GLib.Variant("t", total),
              "Percent": GLib.Variant("t", nth * 100 // total), "IsMore": GLib.Variant("b", nth < total)}
    post("Progress", values | more)


def listen(then):
    connection.signal_subscribe(None, INTERFACE, "Posted", PATH, None, Gio.DBusSignalFlags.NONE,
                                lambda *signal: then() if signal[5][0] == OWN % "Stop" and signal[5][1] == token
                                else None)
    connection.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId", None, None,
                         Gio.DBusCallFlags.NONE, -1, None)


def end_with_owner():
    Gio.bus_watch_name_on_connection(connection, arguments["bundleIdentifier"], Gio.BusNameWatcherFlags.NONE, None,
                                     lambda *_: os._exit(0))


def two_items():
    post("Ready", {"Version": GLib.Variant("s", "1.2.3")})
    post("Bytes", {"Nth": GLib.Variant("x", 1), "BytesSent": GLib.Variant("x", 5), "BytesTotal": GLib.Variant("x", 10),
                   "RunBytesSent": GLib.Variant("x", 5), "RunBytesTotal": GLib.Variant("x", 30)})
    item(1, 2, Outcome=GLib.Variant("s", "failed"), Error=GLib.Variant("s", "no room"),
         ErrorCode=GLib.Variant("x", 452), WillRetry=GLib.Variant("b", True))
    item(2, 2, Outcome=GLib.Variant("s", "sent"))


def stopped():
    item(1, 5, IsMore=GLib.Variant("b", False))


def late_listener():
    # It listens for stop requests only when the test has made the file; what came before is lost.
    def look():
        if not os.path.exists(arguments["cachedInfoPath"]):
            return True
        listen(stopped)
        post("Ready", {"Version": GLib.Variant("s", "1")})
        return False
    GLib.timeout_add(10, look)


def odd_messages():
    post("Progress", {"LocalPath": GLib.Variant("s", "of another token"), "IsMore": GLib.Variant("b", False)}, "other")
    connection.emit_signal(None, PATH, INTERFACE, "Posted", GLib.Variant("(ss)", (OWN % "Progress", token)))
    post("Weather", {"IsMore": GLib.Variant("b", False)})
    post("Progress", {"LocalPath": GLib.Variant("x", 7), "Nth": GLib.Variant("s", "many"),
                      "Total": GLib.Variant("x", -1), "IsMore": GLib.Variant("b", True),
                      "Outcome": GLib.Variant("s", "melted")})
    item(2, 2)


def in_the_middle():
    # A file whose name no terminal shows as it is, and whose bytes go on for as long as nobody stops them.
    sent = 0
    listen(lambda: item(3, 22, IsMore=GLib.Variant("b", False), Outcome=GLib.Variant("s", "failed"),
                        Error=GLib.Variant("s", "stopped")))
    post("Ready", {"Version": GLib.Variant("s", "1")})
    item(2, 22, Outcome=GLib.Variant("s", "sent"))

    def more():
        nonlocal sent
        sent += 10_000
        post("Bytes", {"LocalPath": GLib.Variant("s", "/home/anna/\u65e5\u672c\u8a9e\u306e\u30d5\u30a1\u30a4\u30eb"
                                                 "/\x1b[31mred\u009b2J\u202e\u5199\u771f.jpg"),
                       "Nth": GLib.Variant("x", 3), "BytesSent": GLib.Variant("x", sent),
                       "BytesTotal": GLib.Variant("x", 340_000_000), "RunBytesSent": GLib.Variant("x", sent),
                       "RunBytesTotal": GLib.Variant("x", 4_560_000_000)})
        return True
    GLib.timeout_add(20, more)


end_with_owner()
if scenario == "two-items":
    two_items()
elif scenario == "nothing":
    post("Progress")
elif scenario == "waits":
    listen(stopped)
    post("Ready", {"Version": GLib.Variant("s", "1")})
elif scenario == "late-listener":
    late_listener()
elif scenario == "odd-messages":
    odd_messages()
elif scenario == "dies":
    os.kill(os.getpid(), signal.SIGKILL)
elif scenario == "in-the-middle":
    in_the_middle()
elif scenario == "stubborn":
    signal.signal(signal.SIGTERM, signal.SIG_IGN)
    post("Ready", {"Version": GLib.Variant("s", "1")})
    while True:
        signal.pause()
elif scenario == "tells-its-arguments":
    with open(arguments["cachedInfoPath"], "w") as file:
        json.dump(sys.argv[1:] + [f"environment={sorted(set(os.environ) & {'TELVO_PASSWORD'})}",
                                  f"leads-its-group={os.getpgrp() == os.getpid()}"], file)
    post("Progress")
loop.run()
