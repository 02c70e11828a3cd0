#!/usr/bin/python3
"""A desktop's keyring with one password in it: keyring.py PASSWORD KEY=VALUE... Prints a line when it can be asked.

The attribute "xdg:schema" is the kind of the password, which a question may ask for like for any other.
"""

import sys

from gi.repository import Gio, GLib

INTERFACES = """
<node>
  <interface name="org.freedesktop.Secret.Service">
    <method name="OpenSession">
      <arg name="algorithm" type="s" direction="in"/><arg name="input" type="v" direction="in"/>
      <arg name="output" type="v" direction="out"/><arg name="result" type="o" direction="out"/>
    </method>
    <method name="SearchItems">
      <arg name="attributes" type="a{ss}" direction="in"/>
      <arg name="unlocked" type="ao" direction="out"/><arg name="locked" type="ao" direction="out"/>
    </method>
    <method name="GetSecrets">
      <arg name="items" type="ao" direction="in"/><arg name="session" type="o" direction="in"/>
      <arg name="secrets" type="a{o(oayays)}" direction="out"/>
    </method>
  </interface>
</node>
"""
SERVICE = "/org/freedesktop/secrets"
SESSION = f"{SERVICE}/session/1"
ITEM = f"{SERVICE}/collection/login/1"

password, *pairs = sys.argv[1:]
saved = dict(pair.split("=", 1) for pair in pairs)


def called(_bus, _sender, _path, _interface, method, parameters, invocation):
    if method == "OpenSession":
        if parameters[0] != "plain":
            invocation.return_dbus_error("org.freedesktop.DBus.Error.NotSupported", "plain only")
            return
        invocation.return_value(GLib.Variant("(vo)", (GLib.Variant("s", ""), SESSION)))
    elif method == "SearchItems":
        found = [ITEM] if parameters[0].items() <= saved.items() else []
        invocation.return_value(GLib.Variant("(aoao)", (found, [])))
    else:
        secret = (SESSION, b"", password.encode(), "text/plain")
        invocation.return_value(GLib.Variant("(a{o(oayays)})", ({ITEM: secret},)))


bus = Gio.bus_get_sync(Gio.BusType.SESSION)
bus.register_object(SERVICE, Gio.DBusNodeInfo.new_for_xml(INTERFACES).interfaces[0], called)
bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
              GLib.Variant("(su)", ("org.freedesktop.secrets", 4)), None, Gio.DBusCallFlags.NONE, 5000, None)
print("ready", flush=True)
GLib.MainLoop().run()
