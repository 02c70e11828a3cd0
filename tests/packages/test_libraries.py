"""The installed libraries themselves: what they export, what they ask of the system, and their headers."""

import concurrent.futures
import os
import re
import shutil
import subprocess

import pytest

from conftest import BUILD, COMPILERS, SOURCES, run

NAMES = ["telvo-platform", "telvo", "telvo-owner"]
VERSION = run(SOURCES / "packaging" / "version").strip()


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
                "foundation::TimerSource", "cfnetwork::FTPConnection", "cfnetwork::errorWithReply", "RTFReader",
                "FTPSession", "streams::RetryQueue", "streams::SentItems", "foundation::utf8",
                "foundation::XMLEncoding"]
    found = {name for name in internal for symbol in exported
             if re.match(rf"(vtable for |typeinfo for )?telvo::(\w+::)?{name}(::|\(|$)", symbol)}
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


class Interface:
    """What is compared of a build, and of the sources, to be changed."""

    def __init__(self, folder):
        self.build, self.sources = folder / "build", folder / "sources"
        shutil.copytree(BUILD / "include" / "public", self.build / "include" / "public")
        shutil.copytree(BUILD / "packaging" / "libraries", self.build / "packaging" / "libraries", symlinks=True,
                        ignore=shutil.ignore_patterns("CMakeFiles", "*.a"))
        shutil.copytree(SOURCES / "owner", self.sources / "owner")
        (self.sources / "packaging" / "abi").mkdir(parents=True)
        for name in ("CMakeLists.txt", "packaging/check-abi", "packaging/version"):
            shutil.copy(SOURCES / name, self.sources / name)
        (self.sources / "CHANGELOG.md").write_text("## [Unreleased]\n")
        self.git("init", "--quiet")

    def git(self, *arguments):
        run("git", "-c", "user.name=A", "-c", "user.email=a@example.com", *arguments, cwd=self.sources)

    def release(self, tag):
        self.git("add", "--all")
        self.git("commit", "--quiet", "--message", tag)
        self.git("tag", tag)

    def check(self, *options):
        result = subprocess.run([self.sources / "packaging" / "check-abi", *options, self.build], text=True, timeout=600,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return result.returncode, result.stdout

    def change(self, header, text, other):
        [path] = self.build.rglob(header)
        assert text in path.read_text()
        path.write_text(path.read_text().replace(text, other))

    def forget(self, function):
        """As if the record had been made when there was no such function."""
        record = self.sources / "packaging" / "abi" / "libtelvo.abi"
        lines = record.read_text().splitlines(keepends=True)
        record.write_text("".join(line for line in lines if f"{len(function)}{function}" not in line))
        assert len(record.read_text()) < sum(map(len, lines))


@pytest.fixture(scope="module")
def recorded(tmp_path_factory):
    interface = Interface(tmp_path_factory.mktemp("interface"))
    assert interface.check("--record") == (0, "")
    return interface


@pytest.fixture
def interface(recorded, tmp_path):
    copy = shutil.copytree(recorded.build.parent, tmp_path / "interface", symlinks=True)
    changed = Interface.__new__(Interface)
    changed.build, changed.sources = copy / "build", copy / "sources"
    return changed


@pytest.mark.parametrize("name", NAMES)
def test_all_that_programs_need_of_a_library_is_recorded(recorded, libraries, name):
    """What they have of their own, out of the headers, may come and go."""
    lines = run("nm", "--dynamic", "--defined-only", "--without-symbol-versions", libraries / f"lib{name}.so").splitlines()
    symbols = {symbol: kind for kind, symbol in (line.split()[-2:] for line in lines) if kind != "A"}
    assert "T" in symbols.values()
    record = (recorded.sources / "packaging" / "abi" / f"lib{name}.abi").read_text()
    assert set(re.findall(r"<elf-symbol name='([^']+)'", record)) == \
        {symbol for symbol, kind in symbols.items() if kind not in "WVu"}


def test_until_a_release_a_difference_of_the_interface_is_only_told(interface):
    assert interface.check() == (0, "")
    interface.change("NSTimer.h", "  bool repeats_;\n", "  bool repeats_;\n  long further_[4];\n")
    status, said = interface.check()
    assert status == 0 and "further_" in said and "not the recorded one" in said


def test_a_release_needs_a_record_of_its_own(interface):
    interface.forget("telvo_left")
    (interface.sources / "CHANGELOG.md").write_text(f"## [Unreleased]\n\n## [{VERSION}] - 2026-01-01\n")
    status, said = interface.check()
    assert status == 1 and "telvo_left" in said and "not the recorded one" in said


def test_what_the_last_release_had_has_to_stay(interface):
    interface.forget("telvo_left")
    interface.release(f"v{VERSION}")
    # More than the release had is fine; the record is then to be made anew for the next one.
    status, said = interface.check()
    assert status == 0 and "no longer run" not in said
    interface.change("NSTimer.h", "  bool repeats_;\n", "  bool repeats_;\n  long further_[4];\n")
    assert interface.check("--record") == (0, "")
    status, said = interface.check()
    assert status == 1 and f"linked with v{VERSION} would no longer run" in said and "further_" in said
    # With another soname it may be what it likes.
    cmake = interface.sources / "CMakeLists.txt"
    cmake.write_text(cmake.read_text().replace(f"VERSION {VERSION} ", "VERSION 99.0.0 "))
    assert interface.check() == (0, "")
