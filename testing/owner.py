"""An owner of the helper, written against nothing but the session bus."""

import dataclasses
import os
import re
import signal
import subprocess
import time

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

import processes  # noqa: E402

OBJECT_PATH = "/com/telvo/DistributedNotificationCenter"
INTERFACE = "com.telvo.DistributedNotificationCenter"
PROGRESS = "TelvoFTPHelperProgressDistributedNotification"
STOP = "TelvoFTPHelperStopDistributedNotification"
RECORD_TYPES = {"LocalPath": "s", "RemoteDirectory": "s", "Nth": "t", "Total": "t", "Percent": "t", "IsMore": "b"}


@dataclasses.dataclass(frozen=True)
class Notification:
    """One Posted signal. `object` is None when it was posted with no object; `record` None without user information."""

    name: str
    object: str | None
    record: dict | None
    record_types: dict | None
    details: dict
    sender: str
    time: float

    @property
    def is_last(self):
        return not (self.record or {}).get("IsMore", False)


def _parse(sender, parameters):
    name, posted_object, details = (parameters.get_child_value(index) for index in range(3))
    entries = {
        details.get_child_value(index).get_child_value(0).get_string():
        details.get_child_value(index).get_child_value(1).get_variant()
        for index in range(details.n_children())
    }
    record = types = None
    if "UserInfo" in entries:
        info = entries["UserInfo"]
        assert info.get_type_string() == "a{sv}"
        record = info.unpack()
        types = {
            info.get_child_value(index).get_child_value(0).get_string():
            info.get_child_value(index).get_child_value(1).get_variant().get_type_string()
            for index in range(info.n_children())
        }
    text = posted_object.get_string()
    says = entries.get("HasObject")
    has_object = says.get_boolean() if says and says.get_type_string() == "b" else text != ""
    return Notification(
        name.get_string(), text if has_object else None, record, types,
        {key: value.unpack() for key, value in entries.items()}, sender, time.monotonic(),
    )


class Application:
    """Any program on the session bus: has a well-known name, hears and posts notifications, and can quit."""

    def __init__(self, bus, name=None):
        self._connection = Gio.DBusConnection.new_for_address_sync(
            bus.address,
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION,
            None, None,
        )
        self._connection.set_exit_on_close(False)
        self.name = name
        self.heard = []
        self._connection.signal_subscribe(
            None, INTERFACE, "Posted", OBJECT_PATH, None, Gio.DBusSignalFlags.NONE, self._hear
        )
        # Subscribing is asynchronous; a call that has been answered has been handled after it.
        self._call("GetId", None)
        if name:
            self._call("RequestName", GLib.Variant("(su)", (name, 4)))

    def _hear(self, _connection, sender, _path, _interface, _signal, parameters):
        # What is not in the wire format, or enormous, was sent by a test to others.
        if parameters.get_type_string() == "(ssa{sv})" and parameters.get_size() < 65536:
            self.heard.append(_parse(sender, parameters))

    def _call(self, method, parameters):
        return self._connection.call_sync(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method, parameters, None,
            Gio.DBusCallFlags.NONE, 10000, None,
        )

    def post(self, name, posted_object=None, user_info=None, details=None):
        entries = dict(details or {})
        if posted_object is None:
            entries["HasObject"] = GLib.Variant("b", False)
        if user_info is not None:
            entries["UserInfo"] = GLib.Variant("a{sv}", user_info)
        self.emit(GLib.Variant("(ssa{sv})", (name, posted_object or "", entries)))

    def emit(self, parameters, path=OBJECT_PATH, interface=INTERFACE, member="Posted"):
        """Sends a signal with any parameters, right or wrong."""
        self._connection.emit_signal(None, path, interface, member, parameters)
        # The answer shows that the bus has handled what was sent before it.
        self._call("GetId", None)

    def wait_for_name(self, name):
        """The name is this application's once its present owner gives it up."""
        self._call("RequestName", GLib.Variant("(su)", (name, 0)))

    def release_name(self):
        """What the others see as this application's quit."""
        self._call("ReleaseName", GLib.Variant("(s)", (self.name,)))

    def has_owner(self, name):
        return self._call("NameHasOwner", GLib.Variant("(s)", (name,))).unpack()[0]

    def quit(self):
        if not self._connection.is_closed():
            self._connection.close_sync(None)

    def wait_until(self, condition, timeout=60, what="a notification"):
        """Serves the bus until the condition is true; returns its result."""
        context = GLib.MainContext.default()

        def turn():
            while context.iteration(False):
                pass
            return condition()

        return processes.wait_until(turn, timeout, what)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.quit()


class Owner(Application):
    """The application that launches helpers and follows them by `token`."""

    def __init__(self, bus, helper_path, folder, name="com.example.Owner", token="token-1"):
        super().__init__(bus, name)
        self.token = token
        self._bus = bus
        self._helper_path = helper_path
        self._folder = folder
        self._helpers = []

    def launch(self, source=None, server=None, prefix=(), arguments=None, environment=None, **parameters):
        """Starts a helper for the source and server, with the usual parameters; a parameter given here wins,
        and one given as None is left out."""
        values = {"bundleIdentifier": self.name, "notificationIdentifier": self.token, "debug": "YES"}
        if source is not None:
            values["sourcePath"] = str(source)
        if server is not None:
            values |= {"host": server.address, "username": server.username, "password": server.password}
        values |= parameters
        if arguments is None:
            arguments = [text for key, value in values.items() if value is not None for text in (f"-{key}", str(value))]
        helper = Helper([*prefix, self._helper_path, *arguments], self._environment(environment), self._folder,
                        len(self._helpers))
        self._helpers.append(helper)
        return helper

    def upload(self, source, server=None, timeout=120, **options):
        """A whole run of a helper, which ends in good order and has a record for each item; the progress notifications
        of it."""
        self.heard.clear()
        helper = self.launch(source, server, **options)
        notifications = self.wait_for_last_record(timeout)
        helper.wait_for_line("finished; terminating the helper")
        helper.terminate()
        assert helper.wait() == 0
        records = [notification.record for notification in notifications]
        if records != [None]:
            assert [record["Nth"] for record in records] == list(range(1, records[0]["Total"] + 1))
        return notifications

    def _environment(self, extra):
        # The home folder is the test's own and no proxy of the person who runs it applies.
        kept = {key: value for key, value in os.environ.items()
                if not key.lower().endswith("_proxy") and key != "FTP_PASSIVE_MODE"}
        return {**kept, "DBUS_SESSION_BUS_ADDRESS": self._bus.address, "HOME": str(self._folder),
                "XDG_CONFIG_HOME": str(self._folder / "config"), **(extra or {})}

    def stop_upload(self, token=...):
        self.post(STOP, self.token if token is ... else token)

    def progress(self, token=...):
        wanted = self.token if token is ... else token
        return [heard for heard in self.heard if heard.name == PROGRESS and heard.object == wanted]

    def wait_for_records(self, count, timeout=60, **options):
        self.wait_until(lambda: len(self.progress(**options)) >= count, timeout, f"{count} progress notifications")
        return self.progress(**options)

    def wait_for_last_record(self, timeout=120, **options):
        """Returns all progress notifications once the one that says that no item follows has come."""
        self.wait_until(
            lambda: any(heard.is_last for heard in self.progress(**options)), timeout, "the last progress notification"
        )
        return self.progress(**options)

    def __exit__(self, *_):
        self.quit()
        for helper in self._helpers:
            helper.kill()


class Helper:
    """A running helper process and the lines that it logs."""

    _LINE = re.compile(r"^\d{4}-\d\d-\d\d (\d\d):(\d\d):(\d\d\.\d{3}) TelvoFTPHelper\[\d+\] (.*)$")

    def __init__(self, command, environment, folder, number):
        self._error_path = folder / f"helper-{number}.stderr"
        with open(self._error_path, "wb") as error, open(folder / f"helper-{number}.stdout", "wb") as output:
            self.process = processes.start(command, env=environment, cwd=folder, stdout=output, stderr=error)
        self.pid = self.process.pid

    def error_output(self):
        return self._error_path.read_text(errors="surrogateescape")

    def log(self):
        """The texts of the log lines so far, without time stamp and process; every line must have both."""
        return [text for text, _ in self.timed_log()]

    def timed_log(self):
        """Pairs of a text and its time of day in seconds."""
        lines = []
        for line in self.error_output().splitlines():
            match = self._LINE.match(line)
            assert match, f"not a log line: {line!r}"
            hours, minutes, seconds, text = match.groups()
            lines.append((text, int(hours) * 3600 + int(minutes) * 60 + float(seconds)))
        return lines

    def wait_for_line(self, text, timeout=60):
        return processes.wait_until(lambda: text in self.log(), timeout, f"{text!r} in {self._error_path}")

    def is_running(self):
        return self.process.poll() is None

    def wait(self, timeout=60):
        """Returns the exit status, negative for a signal."""
        try:
            return self.process.wait(timeout)
        except subprocess.TimeoutExpired:
            raise AssertionError(f"the helper did not end within {timeout} s\n{self.error_output()}") from None

    def terminate(self):
        os.kill(self.pid, signal.SIGTERM)

    def kill(self):
        processes.end(self.process)

    def kill_hard(self):
        """Without a chance to do anything about it."""
        self.process.kill()
        assert self.process.wait(10) == -signal.SIGKILL
