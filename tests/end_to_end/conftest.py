"""Fixtures that every test can ask for: an own bus, an own owner, throw-away servers, sample trees."""

import contextlib
import os
import pathlib
import subprocess
import sys
import tempfile

import pytest

TESTING = pathlib.Path(__file__).resolve().parents[2] / "testing"
sys.path[:0] = [str(TESTING), str(TESTING / "tls")]

import bus as buses  # noqa: E402
import crowd as crowds  # noqa: E402
import far  # noqa: E402
import owner as owners  # noqa: E402
import processes  # noqa: E402
import servers  # noqa: E402
import tool as tools  # noqa: E402
import tree  # noqa: E402
from scripted_server import ScriptedServer  # noqa: E402


# What ctest takes for "not run": see SKIP_RETURN_CODE.
_STATUS_OF_MISSING_RIGHTS = 77
_need_root = []


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    """A test that takes rights which are missing has neither passed nor failed."""
    outcome = yield
    if call.excinfo and call.excinfo.errisinstance(processes.NeedsRoot):
        _need_root.append(f"{item.name}: {call.excinfo.value}")
        report = outcome.get_result()
        report.outcome, report.longrepr = "skipped", (str(item.path), None, str(call.excinfo.value))


def pytest_sessionfinish(session, exitstatus):
    """Where some tests have not been run, the program does not end as if all had passed; ./check names them."""
    if not _need_root:
        return
    if exitstatus == pytest.ExitCode.OK:
        session.exitstatus = _STATUS_OF_MISSING_RIGHTS
    if "TELVO_NEED_ROOT" in os.environ:
        folder = pathlib.Path(os.environ["TELVO_NEED_ROOT"])
        folder.mkdir(parents=True, exist_ok=True)
        (folder / session.items[0].path.stem).write_text("".join(f"{line}\n" for line in _need_root))


@pytest.fixture
def bus():
    with buses.SessionBus() as session_bus:
        yield session_bus


@pytest.fixture(params=servers.ALL, ids=lambda kind: kind.name)
def server(request):
    """Each of the real servers in turn."""
    with request.param() as running:
        yield running
        # Shown by pytest when the test has failed.
        print(running.output()[-20000:])


@pytest.fixture(params=[servers.Vsftpd, servers.PureFTPd, servers.ProFTPD], ids=lambda kind: kind.name)
def installed_server(request):
    """Each of the servers that most people use."""
    with request.param() as running:
        yield running
        print(running.output()[-20000:])


@pytest.fixture
def any_server():
    """One real server, for tests in which it does not matter which."""
    with servers.Pyftpdlib() as running:
        yield running


@pytest.fixture
def scripted():
    """A server that behaves well until a test tells it otherwise."""
    with ScriptedServer() as server:
        yield server


@pytest.fixture(params=["near", "far"])
def scripted_anywhere(request):
    """A server that behaves well until a test tells it otherwise, on this host or a network away; and the helper's
    parameters to get there."""
    if request.param == "near":
        with ScriptedServer() as server:
            yield server, {"server": server}
    else:
        with far.far(far.scripted) as way:
            yield way.server, way.launch


@pytest.fixture
def crowd(bus, helper_path, tmp_path):
    """See crowd.Crowd."""
    with contextlib.ExitStack() as stack:
        yield crowds.Crowd(stack, stack.enter_context(owners.Owner(bus, helper_path, tmp_path)))


@pytest.fixture
def sample_tree(tmp_path):
    return tree.sample(tmp_path / "Site")


@pytest.fixture
def small_tree(tmp_path):
    """A folder with two files."""
    source = tree.Tree(tmp_path / "Site")
    source.file("a.txt", b"a")
    source.file("b.txt", b"b")
    return source


@pytest.fixture
def five_items(tmp_path):
    """A folder with four files."""
    source = tree.Tree(tmp_path / "Five")
    for name in "abcd":
        source.file(f"{name}.txt", name.encode())
    return source


@pytest.fixture(scope="session")
def helper_path():
    """The built helper, from the environment or the development build."""
    default = pathlib.Path(__file__).resolve().parents[2] / "build" / "dev" / "TelvoFTPHelper"
    path = pathlib.Path(os.environ.get("TELVO_HELPER", default))
    assert path.is_file(), f"no helper at {path}: build it first, or set TELVO_HELPER"
    return path


@pytest.fixture
def owner(bus, helper_path, tmp_path):
    with owners.Owner(bus, helper_path, tmp_path) as application:
        yield application


@pytest.fixture(scope="session")
def tool_path():
    """The built telvo-upload, from the environment or the development build."""
    default = pathlib.Path(__file__).resolve().parents[2] / "build" / "dev" / "telvo-upload"
    path = pathlib.Path(os.environ.get("TELVO_UPLOAD", default))
    assert path.is_file(), f"no tool at {path}: build it first, or set TELVO_UPLOAD"
    return path


@pytest.fixture
def tool(tool_path, helper_path, bus, tmp_path):
    made = tools.Tool(tool_path, bus.address, tmp_path)
    yield made
    made.close()


@pytest.fixture(scope="module")
def installed():
    """A folder into which everything has been installed."""
    build = pathlib.Path(os.environ.get("TELVO_BUILD", pathlib.Path(__file__).resolve().parents[2] / "build" / "dev"))
    # Outside of the sources, whose own Resources would be found from below them.
    with tempfile.TemporaryDirectory(prefix="telvo-installed-") as folder:
        subprocess.run([os.environ.get("TELVO_CMAKE", "cmake"), "--install", build, "--prefix", folder],
                       check=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
        yield pathlib.Path(folder)
