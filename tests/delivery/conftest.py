"""What the tests of everything that is delivered beside the programs share."""

import os
import pathlib
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "testing"))


@pytest.fixture(scope="session")
def build():
    """The folder in which everything was built, from the environment or the development build."""
    return pathlib.Path(os.environ.get("TELVO_BUILD", ROOT / "build" / "dev"))


@pytest.fixture(scope="session")
def tool_path(build):
    """The built telvo-upload."""
    path = build / "telvo-upload"
    assert path.is_file(), f"no tool at {path}: build it first, or set TELVO_BUILD"
    return path
