"""What the tests of the installed libraries share: an installation, and programs of other people that use it."""

import os
import pathlib
import re
import subprocess

import pytest

SOURCES = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("TELVO_BUILD", SOURCES / "build" / "dev"))
CMAKE = os.environ.get("TELVO_CMAKE", "cmake")
CONSUMERS = pathlib.Path(__file__).resolve().parent / "consumers"
WARNINGS = ["-Wall", "-Wextra", "-Wconversion", "-Weffc++", "-Werror"]
COMPILERS = {"g++": [*WARNINGS, "-Wuseless-cast"], "clang++-14": WARNINGS}


def run(*command, **options):
    """Runs to its end, and shows what was said when that is not a good one."""
    result = subprocess.run([str(word) for word in command], text=True, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, timeout=900, **options)
    assert result.returncode == 0, f"{command}: {result.returncode}\n{result.stdout}"
    return result.stdout


def build(source, folder, compiler, *options, targets=()):
    flags = " ".join(COMPILERS[compiler])
    run(CMAKE, "-S", source, "-B", folder, "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={compiler}",
        f"-DCMAKE_CXX_FLAGS={flags}", *options)
    run(CMAKE, "--build", folder, *(["--target", *targets] if targets else []))
    return folder


@pytest.fixture(scope="session")
def installed(tmp_path_factory):
    """A folder with everything installed; another one than where it was installed at first."""
    first = tmp_path_factory.mktemp("first") / "prefix"
    run(CMAKE, "--install", BUILD, "--prefix", first)
    return first.rename(tmp_path_factory.mktemp("moved") / "a prefix")


@pytest.fixture(scope="session")
def libraries(installed):
    [package] = installed.rglob("telvo.pc")
    return package.parents[1]


@pytest.fixture
def environment(libraries):
    """As somebody has it who installed into a folder that the system does not know."""
    return os.environ | {"PKG_CONFIG_PATH": str(libraries / "pkgconfig"), "LD_LIBRARY_PATH": str(libraries)}


@pytest.fixture(params=COMPILERS)
def compiler(request):
    return request.param


@pytest.fixture(scope="session")
def selectors():
    """Each extension that can be called by name, as "CLASS SELECTOR" lines, read from the tables in the sources."""
    lines = []
    for path in sorted((SOURCES / "categories").glob("*.cpp")):
        for category in re.split(r"\bconst NSCategory ", path.read_text())[1:]:
            [extended] = re.findall(r"\b(\w+)::classObject\(\)", category[:category.index("{")])
            lines += [f"{extended} {name}" for name in re.findall(r'"(telvo_[^"]*)"_sel', category[:category.index("});")])]
    assert len(lines) > 200
    return "\n".join(lines)
