"""What people mistype, leave empty or did not mean: it is told before anything is sent, and nothing of theirs is lost."""

import json
import os
import pathlib
import shutil
import signal

import pytest

import processes
import scripted_server as scripts
import tool as tools
from tool import login

USAGE = 2
FAKE_HELPER = pathlib.Path(__file__).resolve().parents[3] / "testing" / "fake_helper.py"


@pytest.fixture
def send(tool, scripted, small_tree):
    """Uploads the tree with these options in front."""
    def run(*options, source=small_tree.path, **more):
        return tool.run(*options, source, f"telvo@{scripted.address}", **login(scripted) | more)
    return run


@pytest.fixture
def refused(send, scripted):
    """The complaint about these options, which nothing has been sent with."""
    def run(*options, **more):
        status, output, error = send(*options, **more)
        assert (status, output, scripted.connections) == (USAGE, "", 0), error
        assert error.startswith("telvo-upload: ") and error.endswith("\nSee telvo-upload --help.\n")
        return error
    return run


@pytest.fixture
def staged_arguments(tool_path, bus, tmp_path):
    """What the helper is told by these options: a fake one writes it down."""
    folder = tmp_path / "staged"
    folder.mkdir()
    shutil.copy(tool_path, folder / "telvo-upload")
    shutil.copy(FAKE_HELPER, folder / "TelvoFTPHelper")
    source = tmp_path / "tells-its-arguments"
    source.mkdir()
    made = tools.Tool(folder / "telvo-upload", bus.address, tmp_path)

    def run(*options):
        told = tmp_path / "told.plist"
        status, _, error = made.run(*options, "--cache", told, source, "host.example")
        assert (status, error) == (0, "")
        words = [word for word in json.loads(told.read_text()) if "=" not in word]
        told.unlink()
        return dict(zip(words[::2], words[1::2]))
    yield run
    made.close()


@pytest.mark.parametrize("option", ["--user", "--password-file", "--security", "--ca", "--fingerprint", "--certificate",
                                    "--key", "--exclude", "--exclude-from", "--limit-rate", "--retries", "--cache"])
def test_an_empty_value_is_none(refused, option):
    assert "empty" in refused(option, "")
    assert f"{option}: the value is empty" in refused(f"{option}=")


def test_an_empty_source_is_none(refused):
    assert "SOURCE: the value is empty" in refused(source="")


@pytest.mark.parametrize("rate", ["fast", "-1", "k", "1e3", "0x10", "1.5.5", "10 kk", "9999999999999999", "1000000000g",
                                  "0.5", " "])
def test_a_rate_that_is_none_is_told(refused, rate):
    assert "rate" in refused("--limit-rate", rate)


@pytest.mark.parametrize("rate, told", [("0", None), ("1", "1"), ("500k", "512000"), ("1.5M", "1572864"),
                                        ("2 KiB", "2048"), ("3g", "3221225472"), ("70b", "70")])
def test_a_rate_is_bytes_a_second(staged_arguments, rate, told):
    arguments = staged_arguments("--limit-rate", rate)
    assert arguments.get("-bytesPerSecond") == told


ALWAYS = {"-reportOutcomes", "-rememberSentOnly", "-escapeNames", "-announce"}


@pytest.mark.parametrize("options, told", [
    ((), {"-reportBytes": "YES", "-attempts": "4", "-temporaryNames": "large"}),
    (("--retries", "0", "--in-place", "--quiet"), {}),
    (("--retries", "7", "--atomic", "--dry-run", "--debug", "--exclude", "*.o", "--exclude", "!x.o"),
     {"-reportBytes": "YES", "-attempts": "8", "-temporaryNames": "always", "-dryRun": "YES", "-debug": "YES",
      "-exclude": "*.o\n!x.o"}),
    (("--delete", "--allow-empty-source"),
     {"-reportBytes": "YES", "-attempts": "4", "-temporaryNames": "large", "-deleteMissing": "YES",
      "-allowEmptySource": "YES"}),
])
def test_the_helper_is_asked_for_that_and_nothing_else(staged_arguments, options, told):
    arguments = staged_arguments(*options)
    usual = {"-bundleIdentifier", "-notificationIdentifier", "-sourcePath", "-host", "-cachedInfoPath"}
    assert usual <= arguments.keys()
    assert {key: arguments[key] for key in arguments.keys() - usual} == dict.fromkeys(ALWAYS, "YES") | told


@pytest.mark.parametrize("options, names", [
    (("--exclude-from", "PATTERNS", "--exclude", "!keep.log"), ["b.txt", "keep.log"]),
    (("--exclude", "!keep.log", "--exclude-from", "PATTERNS"), ["b.txt"]),
    (("--exclude", "*", "--exclude", "!b.txt", "--exclude-from", "PATTERNS", "--exclude", "!keep.log"),
     ["b.txt", "keep.log"]),
])
def test_of_patterns_the_last_one_on_the_command_line_counts(send, scripted, small_tree, tmp_path, options, names):
    (tmp_path / "patterns").write_text("*.log\n")
    (small_tree.path / "a.txt").unlink()
    for name in ("keep.log", "other.log"):
        small_tree.file(name)
    assert send(*[tmp_path / "patterns" if word == "PATTERNS" else word for word in options])[0] == 0
    assert sorted(os.path.basename(path) for path in scripted.files) == names


@pytest.mark.parametrize("pattern", ["[[]ab]", "{}", "%%", "++", "\\#h", "-dash", "--no-cache", "a=b", "="])
def test_a_pattern_is_whatever_it_is(send, scripted, tmp_path, pattern):
    source = tmp_path / "Odd"
    source.mkdir()
    for name in ("[ab]", "{}", "%%", "++", "#h", "-dash", "--no-cache", "a=b", "="):
        (source / name).touch()
    assert send("--exclude", pattern, source=source)[0] == 0
    assert len(scripted.files) == 8


def test_patterns_may_begin_with_a_byte_order_mark(send, scripted, tmp_path):
    (tmp_path / "patterns").write_bytes(b"\xef\xbb\xbfa.*\r\n")
    assert send("--exclude-from", tmp_path / "patterns")[0] == 0
    assert sorted(scripted.files) == ["/Site/b.txt"]


def test_patterns_that_are_no_text_are_told(refused, tmp_path):
    (tmp_path / "patterns").write_text("*.tmp\na.*\n", encoding="utf-16")
    assert "a pattern cannot hold a NUL" in refused("--exclude-from", tmp_path / "patterns")


@pytest.mark.parametrize("option", ["--exclude-from", "--password-file", "--ca", "--certificate"])
def test_a_file_that_cannot_be_read_is_told(refused, tmp_path, option):
    security = () if option in ("--exclude-from", "--password-file") else ("--security", "tls")
    assert str(tmp_path / "nowhere") in refused(*security, option, tmp_path / "nowhere")


def test_a_folder_is_no_file_of_patterns_or_of_a_password(refused, tmp_path):
    for option in ("--exclude-from", "--password-file"):
        assert "Is a directory" in refused(option, tmp_path)


def test_a_password_with_a_nul_is_told(refused, tmp_path):
    (tmp_path / "password").write_bytes(b"sec\0ret\n")
    assert "a password cannot hold a NUL" in refused("--password-file", tmp_path / "password")


# The cache.


def test_a_cache_never_takes_the_place_of_something_else(refused, tmp_path):
    notes = tmp_path / "notes.txt"
    notes.write_text("Much work, and not on the server.\n")
    assert "is no cache" in refused("--cache", notes)
    assert notes.read_text() == "Much work, and not on the server.\n"
    for path in (tmp_path, "/dev/null"):
        assert "is no file" in refused("--cache", path)


def test_a_cache_that_cannot_be_written_is_told(refused, tmp_path):
    assert "No such file or directory" in refused("--cache", tmp_path / "nowhere" / "cache.plist")
    closed = tmp_path / "closed"
    closed.mkdir(0o555)
    assert "Permission denied" in refused("--cache", closed / "cache.plist", prefix=processes.BOUND_BY_PERMISSIONS)


def test_a_cache_that_could_not_be_written_in_the_end_is_told(send, tmp_path):
    cache = tmp_path / "cache.plist"
    status, output, error = send("--cache", cache, prefix=["sh", "-c", 'ulimit -f 0; exec "$@"', "sh"])
    assert (status, output) == (0, "3 sent.\n")
    assert error == f"telvo-upload: {cache} could not be written; the next run will send the same again\n"
    assert send("--cache", cache)[1:] == ("3 sent.\n", "")
    assert send("--cache", cache, prefix=["sh", "-c", 'ulimit -f 0; exec "$@"', "sh"])[1:] == ("Nothing to send.\n", "")


def test_an_empty_file_may_become_a_cache(send, tmp_path):
    cache = tmp_path / "made by mktemp"
    cache.touch()
    assert send("--cache", cache)[1] == "3 sent.\n"
    assert send("--cache", cache)[1] == "Nothing to send.\n"


def test_without_a_place_for_the_usual_cache_nothing_is_sent(send, scripted, tmp_path):
    (tmp_path / "cache").mkdir(0o555)
    status, _, error = send(prefix=processes.BOUND_BY_PERMISSIONS)
    assert (status, scripted.connections) == (1, 0)
    assert error == f"telvo-upload: {tmp_path}/cache/telvo-upload: Permission denied\n"
    assert send("--no-cache", prefix=processes.BOUND_BY_PERMISSIONS)[0] == 0


def test_the_usual_cache_belongs_to_the_user_who_logs_in(tool, scripted, small_tree, tmp_path):
    netrc = tmp_path / ".netrc"
    for user in ("telvo", "anna"):
        scripted.username = user
        netrc.write_text(f"machine 127.0.0.1 login {user} password {scripted.password}\n")
        netrc.chmod(0o600)
        assert tool.run(small_tree.path, scripted.address) == (0, "3 sent.\n", "")
        assert tool.run(small_tree.path, f"{user}@{scripted.address}") == (0, "Nothing to send.\n", "")


# The source.


def test_a_file_is_no_folder_whose_contents_could_be_sent(refused, small_tree):
    assert "is no folder" in refused(source=f"{small_tree.path}/a.txt/")


def test_a_source_that_cannot_be_reached_is_told_in_the_systems_words(refused, tmp_path):
    (tmp_path / "closed").mkdir(0)
    error = refused(source=tmp_path / "closed" / "Site", prefix=processes.BOUND_BY_PERMISSIONS)
    assert error.splitlines()[0] == f"telvo-upload: {tmp_path}/closed/Site: Permission denied"


def test_a_relative_path_from_a_folder_that_is_gone_is_told(refused, tmp_path):
    prefix = ["sh", "-c", 'mkdir gone; cd gone; rmdir ../gone; exec "$@"', "sh"]
    error = refused(source="Site", prefix=prefix)
    assert error.splitlines()[0] == "telvo-upload: Site: No such file or directory"


def test_what_is_told_of_a_source_does_nothing_to_the_terminal(refused):
    assert "\x1b" not in refused(source="/nowhere/\x1b[2J")


def test_two_dots_behind_a_link_mean_what_they_mean_to_the_system(send, scripted, tmp_path):
    (tmp_path / "real" / "Site" / "deep").mkdir(parents=True)
    (tmp_path / "real" / "Site" / "page.html").touch()
    (tmp_path / "link").symlink_to("real/Site/deep")
    assert send("--no-cache", source="link/..")[0] == 0
    assert sorted(scripted.files) == ["/Site/page.html"]
    # A link that is not in front of them keeps its name.
    assert send("--no-cache", source="real/../link")[0] == 0
    assert scripted.folders == {"/", "/Site", "/Site/deep", "/link"}


@pytest.mark.parametrize("name", ["-dash", "--version", "++", "a b", "#", "%20"])
def test_a_source_may_have_any_name(tool, scripted, tmp_path, name):
    (tmp_path / name).write_bytes(b"x")
    status, _, error = tool.run("--no-cache", "--", name, f"telvo@{scripted.address}", **login(scripted))
    assert (status, error) == (0, "")
    assert scripted.files == {f"/{name}": b"x"}


# A dry run.


def test_a_dry_run_needs_no_password_and_leaves_nothing_behind(tool, scripted, small_tree, tmp_path):
    before = sorted(os.listdir(tmp_path))
    status, output, error = tool.run("--dry-run", small_tree.path, f"telvo@{scripted.address}")
    assert (status, error) == (0, "")
    assert output.endswith("3 to send.\n")
    assert sorted(os.listdir(tmp_path)) == before
    assert scripted.connections == 0


# The login.


def test_an_entry_without_a_password_leaves_it_to_be_asked_for(tool, scripted, small_tree, tmp_path):
    netrc = tmp_path / ".netrc"
    netrc.write_text("machine 127.0.0.1 login telvo\n")
    netrc.chmod(0o600)
    status, _, error = tool.run(small_tree.path, scripted.address)
    assert status == 1
    assert "there is no password, and no terminal to ask for it" in error
    assert scripted.connections == 0
    assert tool.run(small_tree.path, scripted.address, **login(scripted))[0] == 0


def test_a_netrc_that_cannot_be_read_is_told(tool, scripted, small_tree, tmp_path):
    (tmp_path / ".netrc").touch(0)
    _, _, error = tool.run(small_tree.path, scripted.address, prefix=processes.BOUND_BY_PERMISSIONS)
    assert error == f"telvo-upload: {tmp_path}/.netrc is not used: Permission denied\n"


# What is printed.


@pytest.mark.parametrize("streams", [(0,), (1,), (2,), (0, 1, 2)])
def test_nothing_takes_the_place_of_a_stream_that_is_closed(tool, scripted, small_tree, streams):
    scripted.on("STOR", scripts.silence)
    closing = " ".join(f"{stream}>&-" for stream in streams)
    process = tool.start(small_tree.path, scripted.address, prefix=["sh", "-c", f'exec "$@" {closing}', "sh"])
    processes.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
    for stream in streams:
        assert os.readlink(f"/proc/{process.pid}/fd/{stream}") == "/dev/null"
    process.send_signal(signal.SIGTERM)
    assert process.wait(60) == 130


def test_the_summary_of_options_fits_a_terminal(tool):
    status, output, error = tool.run("--help")
    assert (status, error) == (0, "")
    assert max(map(len, output.splitlines())) <= 80
