"""The installed libraries themselves: what they export, what they ask of the system, and their headers."""

import concurrent.futures
import os
import re
import shutil
import subprocess

import pytest

from conftest import BUILD, COMPILERS, SOURCES, run

NAMES = ["telvo-platform", "telvo", "telvo-owner"]


def exported_by(library):
    lines = run("nm", "--dynamic", "--demangle", "--defined-only", "--without-symbol-versions", library).splitlines()
    return {line.split(" ", 2)[2] for line in lines if line.split(" ", 2)[1] != "A"}


@pytest.mark.parametrize("name", NAMES)
def test_only_names_of_our_namespace_are_exported(libraries, name):
    ours = re.compile(r"(typeinfo (name )?for |vtable for |VTT for |(non-)?virtual thunk to )?telvo::")
    exported = exported_by(libraries / f"lib{name}.so")
    assert len(exported) > 20
    assert [symbol for symbol in exported if not ours.match(symbol)] == []


def test_what_is_internal_is_exported_only_where_a_layer_needs_it(libraries):
    exported = exported_by(libraries / "libtelvo-platform.so") | exported_by(libraries / "libtelvo.so")
    # Classes that no public header declares; the first two are used by the stream layer and the categories.
    internal = ["FTPWriteStream", "foundation::NestingLevel", "foundation::EventSource", "foundation::SessionBus",
                "foundation::TimerSource", "cfnetwork::FTPConnection", "RTFReader", "FTPSession", "streams::RetryQueue",
                "streams::SentItems", "foundation::utf8", "foundation::XMLEncoding"]
    found = {name for name in internal for symbol in exported
             if re.match(rf"(vtable for |typeinfo for )?telvo::(\w+::)?{name}(::|$)", symbol)}
    assert found == {"FTPWriteStream", "foundation::NestingLevel"}


def test_no_name_is_exported_twice(libraries):
    def strong(name):
        lines = run("nm", "--dynamic", "--defined-only", "--without-symbol-versions", libraries / f"lib{name}.so")
        return set(re.findall(r" [TDBR] (\S+)", lines))
    assert strong("telvo") & strong("telvo-platform") == set()
    assert strong("telvo-owner") & (strong("telvo") | strong("telvo-platform")) == set()


@pytest.mark.parametrize("name", NAMES)
def test_a_library_has_a_version_and_no_text_to_relocate(libraries, name):
    dynamic = run("readelf", "--dynamic", "--wide", libraries / f"lib{name}.so")
    assert re.findall(r"\(SONAME\).*\[(.+)\]", dynamic) == [f"lib{name}.so.1"]
    assert not re.search("TEXTREL|RPATH|RUNPATH", dynamic)
    assert os.readlink(libraries / f"lib{name}.so") == f"lib{name}.so.1"
    assert re.fullmatch(rf"lib{name}\.so\.1\.\d+\.\d+", os.readlink(libraries / f"lib{name}.so.1"))


def compile_header(compiler, folder, header):
    command = [compiler, "-std=c++20", *COMPILERS[compiler], "-fsyntax-only", "-I", folder, "-x", "c++", "-"]
    # A second time, because whoever includes two of our headers does that.
    text = f"#include <{header}>\n#include <{header}>\n"
    result = subprocess.run(command, input=text, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=300)
    return f"{header}: {result.stdout}" if result.returncode != 0 or result.stdout else ""


def test_each_header_needs_no_other_before_it(installed):
    folder = installed / "include"
    headers = sorted(str(path.relative_to(folder)) for path in folder.rglob("*.h"))
    assert "telvo/foundation/text/NSString.h" in headers and "telvo/Telvo.h" in headers
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
        problems = workers.map(lambda header: compile_header("g++", folder, header), headers)
        assert [problem for problem in problems if problem] == []


def test_the_other_compiler_takes_all_headers_together(installed):
    assert compile_header("clang++-14", installed / "include", "telvo/Telvo.h") == ""
    assert compile_header("clang++-14", installed / "include", "telvo/Platform.h") == ""


def test_headers_stand_in_one_folder_and_include_only_from_there(installed):
    folder = installed / "include"
    assert os.listdir(folder) == ["telvo"]
    for path in folder.rglob("*.h"):
        for included in re.findall(r'#include "([^"]+)"', path.read_text()):
            assert included.startswith("telvo/") and (folder / included).is_file(), f"{path}: {included}"
    # No other library's headers: whoever builds on ours needs no other development package.
    texts = "".join(path.read_text() for path in folder.rglob("*.h"))
    assert re.findall(r"#include <((?:[\w-]+/)+[^>]+|[^>]+\.h)>", texts) == []


@pytest.fixture
def copied_build(tmp_path):
    """What is compared of a build, to be changed."""
    headers = tmp_path / "build" / "include" / "public"
    shutil.copytree(BUILD / "include" / "public", headers)
    shutil.copytree(BUILD / "packaging" / "libraries", tmp_path / "build" / "packaging" / "libraries", symlinks=True,
                    ignore=shutil.ignore_patterns("CMakeFiles", "*.a"))
    return tmp_path / "build"


def check_abi(build, records, *options):
    return subprocess.run([SOURCES / "packaging" / "check-abi", *options, build], text=True, timeout=600,
                          env=os.environ | {"TELVO_ABI_RECORDS": str(records)}, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT)


def test_the_binary_interface_is_held_against_its_record(copied_build, tmp_path):
    records = tmp_path / "records"
    records.mkdir()
    recorded = check_abi(copied_build, records, "--record")
    assert (recorded.returncode, recorded.stdout) == (0, "")
    same = check_abi(copied_build, records, "--released")
    assert (same.returncode, same.stdout) == (0, "")
    # A function is called otherwise, and a class gets larger.
    record = records / "libtelvo.abi"
    record.write_text(record.read_text().replace("telvo_left", "telvo_late"))
    [header] = copied_build.rglob("NSTimer.h")
    header.write_text(header.read_text().replace("  bool repeats_;\n", "  bool repeats_;\n  long further_[4];\n"))
    changed = check_abi(copied_build, records, "--released")
    assert changed.returncode == 1
    assert "telvo_late" in changed.stdout and "further_" in changed.stdout
