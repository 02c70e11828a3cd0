"""Other people's programs: by find_package, by pkg-config and by add_subdirectory, against shared libraries and archives.

Each is compiled with more warnings than our own code, the headers not being exempted from them."""

import os
import pathlib
import re
import shlex
import shutil
import subprocess

import pytest

from conftest import CMAKE, COMPILERS, CONSUMERS, SOURCES, build, run


def needed_by(path):
    return re.findall(r"\(NEEDED\).*\[(.+)\]", run("readelf", "--dynamic", "--wide", path))


@pytest.fixture(params=COMPILERS, scope="session")
def programs(request, installed, tmp_path_factory):
    """Linked with --as-needed, as some distributions have their compilers do: nothing that seems unused stays."""
    return build(CONSUMERS / "names", tmp_path_factory.mktemp("names"), request.param, f"-DCMAKE_PREFIX_PATH={installed}",
                 "-DCMAKE_EXE_LINKER_FLAGS=-Wl,--as-needed")


def check_names(selectors, *command, **options):
    said = run(*command, input=selectors, **options)
    assert said == f"{len(selectors.splitlines())} asked, 0 not answered\n"


def test_all_selectors_answer_in_a_program_that_calls_none(programs, selectors):
    check_names(selectors, programs / "names")
    assert {"libtelvo.so.1", "libtelvo-platform.so.1"} <= set(needed_by(programs / "names"))


def test_names_that_others_have_taken_are_left_alone(programs):
    assert run(programs / "clash") == "hello 5 2 1\n"


def test_both_libraries_go_into_one_program(programs):
    assert run(programs / "both") == "/home/anna\n"


def test_the_archives_go_into_a_shared_object(installed, compiler, selectors, tmp_path):
    folder = build(CONSUMERS / "plugin", tmp_path, compiler, f"-DCMAKE_PREFIX_PATH={installed}")
    check_names(selectors, folder / "host", folder / "plugin.so")
    assert [name for name in needed_by(folder / "plugin.so") if "telvo" in name] == []


@pytest.mark.parametrize("linker_option", ["-Wl,--as-needed", "-Wl,--no-as-needed"])
def test_pkg_config_tells_all_that_is_needed(environment, compiler, selectors, linker_option, tmp_path):
    flags = shlex.split(run("pkg-config", "--cflags", "--libs", "telvo", env=environment))
    run(compiler, "-std=c++20", *COMPILERS[compiler], linker_option, CONSUMERS / "names" / "names.cpp", *flags,
        "-o", tmp_path / "names")
    check_names(selectors, tmp_path / "names", env=environment)


@pytest.fixture
def archives(installed, tmp_path):
    """An installation without the shared libraries."""
    folder = shutil.copytree(installed, tmp_path / "archives", symlinks=True)
    [package] = folder.rglob("telvo.pc")
    for path in [*package.parents[1].glob("lib*.so*"), *package.parents[1].glob("cmake/telvo/*-shared-targets*")]:
        path.unlink()
    return folder


def test_pkg_config_tells_all_that_archives_need(archives, selectors, tmp_path):
    [package] = archives.rglob("telvo.pc")
    environment = os.environ | {"PKG_CONFIG_PATH": str(package.parent)}
    flags = shlex.split(run("pkg-config", "--cflags", "--libs", "--static", "telvo", env=environment))
    run("g++", "-std=c++20", CONSUMERS / "names" / "names.cpp", *flags, "-o", tmp_path / "names")
    check_names(selectors, tmp_path / "names")
    assert [name for name in needed_by(tmp_path / "names") if "telvo" in name] == []


def configured(folder, prefix, request, **environment):
    """What CMake says to a project that looks for such a package, and whether it is content."""
    folder.mkdir()
    (folder / "CMakeLists.txt").write_text("cmake_minimum_required(VERSION 3.20)\nproject(x LANGUAGES CXX)\n"
                                           f"find_package(telvo {request} REQUIRED)\n"
                                           "foreach(name telvo platform owner)\n  if(TARGET telvo::${name})\n"
                                           '    message(STATUS "has ${name}")\n  endif()\nendforeach()\n')
    result = subprocess.run([CMAKE, "-S", folder, "-B", folder / "build", f"-DCMAKE_PREFIX_PATH={prefix}"], text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120, env=os.environ | environment)
    return result.returncode == 0, " ".join(result.stdout.split())


@pytest.fixture
def without_icu(tmp_path):
    """A pkg-config that knows all that the system's does, but for ICU."""
    kept = tmp_path / "kept"
    kept.mkdir()
    for folder in run("pkg-config", "--variable=pc_path", "pkg-config").strip().split(":"):
        for path in pathlib.Path(folder).glob("*.pc"):
            if not path.name.startswith("icu") and not (kept / path.name).exists():
                (kept / path.name).symlink_to(path)
    return {"PKG_CONFIG_LIBDIR": str(kept)}


def test_an_archive_needs_only_what_is_asked_for(archives, without_icu, tmp_path):
    assert configured(tmp_path / "all", archives, "1.0")[0]
    found, said = configured(tmp_path / "owner", archives, "1.0 COMPONENTS owner", **without_icu)
    assert found and "has owner" in said and "has telvo" not in said
    for number, request in enumerate(("1.0", "1.0 COMPONENTS telvo", "1.0 COMPONENTS owner platform")):
        found, said = configured(tmp_path / str(number), archives, request, **without_icu)
        assert not found and "icu-i18n" in said


def test_pkg_config_names_the_helper(environment):
    for package in ("telvo", "telvo-owner"):
        [helper] = shlex.split(run("pkg-config", "--variable=helper", package, env=environment))
        assert pathlib.Path(helper).name == "TelvoFTPHelper" and os.access(helper, os.X_OK)


def test_a_component_or_version_that_is_not_there_is_told(installed, tmp_path):
    for number, (request, message) in enumerate({"1.0 COMPONENTS colours": "colours", "2.0": "2.0"}.items()):
        found, said = configured(tmp_path / str(number), installed, request)
        assert not found and message in said


def test_the_example_is_built_and_lists_a_folder(installed, compiler, tmp_path):
    folder = build(SOURCES / "examples" / "extensions", tmp_path / "build", compiler, f"-DCMAKE_PREFIX_PATH={installed}",
                   "-DCMAKE_NO_SYSTEM_FROM_IMPORTED=ON")
    listed = tmp_path / "listed"
    for name in ("File 10", "File 9", "a folder/inside"):
        (listed / name).parent.mkdir(parents=True, exist_ok=True)
        (listed / name).write_bytes(b"x" * 1536)
        os.utime(listed / name, (1e9, 1e9))
    lines = run(folder / "listing", listed, env=os.environ | {"LC_ALL": "C.UTF-8", "LANGUAGE": "en"}).splitlines()
    assert [re.split(r"  +", line.strip()) for line in lines if "folder" not in line] == [
        ["1.5 KB", "years", "File 9"], ["1.5 KB", "years", "File 10"]]
    assert [line.split()[0] for line in lines] == ["folder", "1.5", "1.5"]
    missing = subprocess.run([folder / "listing", listed / "none"], text=True, stderr=subprocess.PIPE, timeout=60)
    assert (missing.returncode, missing.stderr) == (1, f"listing: {listed}/none is no folder\n")
