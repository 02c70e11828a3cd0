"""Every program of the session may post to the helper. Whatever it sends, the helper goes on with its work."""

import pytest
from gi.repository import Gio, GLib

import owner as owners
import processes
import scripted_server as scripts
from scripted_server import Pause

MEGABYTE = 1 << 20


def nested(depth):
    """Variants in variants, as deep as the bus lets them through."""
    value = GLib.Variant("s", "bottom")
    for _ in range(depth):
        value = GLib.Variant("v", value)
    return value


def nested_dictionaries(depth):
    value = GLib.Variant("a{sv}", {})
    for _ in range(depth):
        value = GLib.Variant("a{sv}", {"deeper": value})
    return value


def stop(details):
    return GLib.Variant("(ssa{sv})", (owners.STOP, "token-1", details))


def data(size, type_text="ay"):
    """Many bytes or numbers at once: one by one, the bindings would take minutes."""
    return GLib.Variant.new_from_bytes(GLib.VariantType(type_text), GLib.Bytes(bytes(size)), True)


# What is no stop request for this helper: it has another form, or is too large to be one. Large ones are made when it
# is their turn.
NO_REQUEST = {
    "nothing": None,
    "an empty body": GLib.Variant("()", ()),
    "a name only": GLib.Variant("(s)", (owners.STOP,)),
    "no details": GLib.Variant("(ss)", (owners.STOP, "token-1")),
    "a number for a name": GLib.Variant("(usa{sv})", (1, "token-1", {})),
    "a path for an object": GLib.Variant("(soa{sv})", (owners.STOP, "/token", {})),
    "bytes for an object": GLib.Variant("(saya{sv})", (owners.STOP, b"token-1", {})),
    "texts for details": GLib.Variant("(ssa{ss})", (owners.STOP, "token-1", {"UserInfo": "a"})),
    "a variant for details": GLib.Variant("(ssv)", (owners.STOP, "token-1", GLib.Variant("a{sv}", {}))),
    "one value more": GLib.Variant("(ssa{sv}s)", (owners.STOP, "token-1", {}, "more")),
    "numbers for keys": GLib.Variant("(ssa{uv})", (owners.STOP, "token-1", {1: GLib.Variant("b", True)})),
    "a name of 20 MB": lambda: GLib.Variant("(ssa{sv})", ("n" * 20 * MEGABYTE, "token-1", {})),
    "an object of 20 MB": lambda: GLib.Variant("(ssa{sv})", (owners.STOP, "t" * 20 * MEGABYTE, {})),
    "another object": GLib.Variant("(ssa{sv})", (owners.STOP, "token-1\u0301", {})),
    "no object by its details": stop({"HasObject": GLib.Variant("b", False)}),
    "20 MB of data": lambda: stop({"UserInfo": GLib.Variant("a{sv}", {"d": data(20 * MEGABYTE)})}),
    "20 MB of text": lambda: stop({"UserInfo": GLib.Variant("a{sv}", {"d": GLib.Variant("s", "x" * 20 * MEGABYTE)})}),
    "40,000 entries": lambda: stop({"UserInfo": GLib.Variant("a{sv}", {
        f"key {number}": GLib.Variant("t", number) for number in range(40_000)})}),
    "500,000 numbers": lambda: stop({"UserInfo": GLib.Variant("a{sv}", {
        "a": data(4_000_000, "ax")})}),
}

# What is a stop request, however odd its details are: they are not looked at.
ODD_REQUESTS = {
    "user information of another type": stop({"UserInfo": GLib.Variant("s", "text")}),
    "a text for HasObject": stop({"HasObject": GLib.Variant("s", "no")}),
    "unknown details": stop({"Unknown": GLib.Variant("(iii)", (1, 2, 3))}),
    "variants in variants": stop({"UserInfo": GLib.Variant("a{sv}", {"v": nested(50)})}),
    "dictionaries in dictionaries": stop({"UserInfo": nested_dictionaries(18)}),
    "all types": stop({"UserInfo": GLib.Variant("a{sv}", {
        "y": GLib.Variant("y", 255), "n": GLib.Variant("n", -1), "q": GLib.Variant("q", 1), "i": GLib.Variant("i", -1),
        "u": GLib.Variant("u", 1), "x": GLib.Variant("x", -2**63), "t": GLib.Variant("t", 2**64 - 1),
        "d": GLib.Variant("d", float("nan")), "o": GLib.Variant("o", "/"), "g": GLib.Variant("g", "a{sv}"),
        "date": GLib.Variant("(d)", (float("inf"),)), "av": GLib.Variant("av", []), "ay": GLib.Variant("ay", b""),
        "tuple": GLib.Variant("(sv(ii))", ("s", GLib.Variant("b", True), (1, 2))), "": GLib.Variant("s", ""),
        "maybe": GLib.Variant("aas", [["a"], []]), "dict": GLib.Variant("a{us}", {1: "a"}),
    })}),
    "almost a megabyte": lambda: stop({"UserInfo": GLib.Variant("a{sv}", {"d": data(MEGABYTE - 1000)})}),
    "20,000 entries": lambda: stop({"UserInfo": GLib.Variant("a{sv}", {
        f"key {number}": GLib.Variant("b", True) for number in range(20_000)})}),
}


@pytest.fixture
def held(scripted):
    """The server answers the first file only when this is released, so that the run waits for the test."""
    pause = Pause(scripts.usual("STOR"))
    scripted.on("STOR", pause)
    yield pause
    pause.release()


@pytest.fixture
def helper(owner, scripted, five_items, held):
    """A helper in the middle of its second item."""
    # Under the address sanitizer, memory that was given back would be held for a while.
    running = owner.launch(five_items.path, scripted, environment={"ASAN_OPTIONS": "quarantine_size_mb=1"})
    owner.wait_until(held.reached.is_set, what="the second item")
    return running


def wait_until_heard(bus, helper, name="com.example.Marker"):
    """Returns when the helper has heard everything that was sent to it before."""
    with owners.Application(bus, name):
        pass
    helper.wait_for_line(f"{name} has quit")


@pytest.mark.parametrize("parameters", NO_REQUEST.values(), ids=NO_REQUEST)
def test_what_is_no_stop_request_changes_nothing(owner, bus, helper, held, scripted, parameters):
    owner.emit(parameters() if callable(parameters) else parameters)
    wait_until_heard(bus, helper)
    held.release()
    assert [notification.record["Nth"] for notification in owner.wait_for_last_record()] == [1, 2, 3, 4, 5]
    helper.wait_for_line("finished; terminating the helper")
    assert len(scripted.files) == 4
    assert "shouldStop received" not in helper.log()
    assert helper.is_running()


@pytest.mark.parametrize("parameters", ODD_REQUESTS.values(), ids=ODD_REQUESTS)
def test_a_stop_request_counts_whatever_comes_with_it(owner, helper, parameters):
    owner.emit(parameters() if callable(parameters) else parameters)
    records = owner.wait_for_last_record()
    assert (records[-1].record["Nth"], records[-1].record["IsMore"]) == (2, False)
    helper.wait_for_line("finished; terminating the helper")
    assert helper.log().count("shouldStop received") == 1
    assert helper.is_running()


def test_a_flood_of_enormous_signals_leaves_no_trace_in_the_memory(owner, bus, helper, held):
    enormous = NO_REQUEST["20 MB of data"]()
    for _ in range(3):
        owner.emit(enormous)
    wait_until_heard(bus, helper)
    before = processes.memory(helper.pid, "VmRSS")
    for _ in range(10):
        owner.emit(enormous)
    wait_until_heard(bus, helper, "com.example.SecondMarker")
    # Far less than the 200 MB that have come.
    assert processes.memory(helper.pid, "VmRSS") - before < 60 * MEGABYTE
    held.release()
    assert len(owner.wait_for_last_record()) == 5


def test_a_flood_of_small_signals_is_survived(owner, bus, helper, held, scripted):
    connection = owner._connection
    for number in range(10_000):
        connection.emit_signal(None, owners.OBJECT_PATH, owners.INTERFACE, "Posted",
                               GLib.Variant("(ssa{sv})", (owners.STOP, f"token-{number + 2}", {})))
    connection.flush_sync(None)
    wait_until_heard(bus, helper)
    held.release()
    assert len(owner.wait_for_last_record()) == 5
    assert len(scripted.files) == 4
    assert "shouldStop received" not in helper.log()


@pytest.mark.parametrize("path, interface, member", [
    ("/", owners.INTERFACE, "Posted"),
    (owners.OBJECT_PATH + "/deeper", owners.INTERFACE, "Posted"),
    (owners.OBJECT_PATH, owners.INTERFACE + "2", "Posted"),
    (owners.OBJECT_PATH, owners.INTERFACE, "posted"),
    (owners.OBJECT_PATH, owners.INTERFACE, "NotPosted"),
])
def test_a_signal_of_another_place_or_name_is_not_ours(owner, bus, helper, held, path, interface, member):
    owner.emit(stop({}), path, interface, member)
    wait_until_heard(bus, helper)
    held.release()
    assert len(owner.wait_for_last_record()) == 5


def test_calls_to_the_helper_are_answered_with_an_error_and_change_nothing(owner, bus, helper, held):
    # Its unique name on the bus is the sender of what it posts.
    sender = owner.wait_for_records(1)[0].sender
    for method in ("Posted", "Stop", "Quit"):
        with pytest.raises(GLib.Error):
            owner._connection.call_sync(sender, owners.OBJECT_PATH, owners.INTERFACE, method, None, None,
                                        Gio.DBusCallFlags.NONE, 10_000, None)
    held.release()
    assert len(owner.wait_for_last_record()) == 5
