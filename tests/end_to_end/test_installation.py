"""What `cmake --install` puts into a folder works there, away from the sources and from what was built."""

import os
import pathlib
import shutil
import subprocess

BUILD = pathlib.Path(os.environ.get("TELVO_BUILD", pathlib.Path(__file__).resolve().parents[2] / "build" / "dev"))
LIBRARY_TESTS = pathlib.Path(os.environ.get("TELVO_CATEGORIES_TESTS", BUILD / "tests" / "categories_tests"))


def run_tool(installation, bus, home, *arguments, **variables):
    environment = {"PATH": "/usr/bin:/bin", "HOME": str(home), "XDG_CONFIG_HOME": str(home / "config"),
                   "XDG_CACHE_HOME": str(home / "cache"),
                   "DBUS_SESSION_BUS_ADDRESS": bus.address}
    return subprocess.run([installation / "bin" / "telvo-upload", *arguments], env=environment | variables, timeout=120,
                          text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def check_upload(installation, bus, server, source, home):
    run = run_tool(installation, bus, home, "--user", server.username, source.path, server.address,
                   TELVO_PASSWORD=server.password)
    assert (run.returncode, run.stderr) == (0, "")
    assert source.differences(server.root, names_as_they_are=True) == []


def test_the_tool_finds_the_helper_and_uploads(installed, bus, any_server, sample_tree, tmp_path):
    check_upload(installed, bus, any_server, sample_tree, tmp_path)


def test_a_moved_installation_works_as_well(installed, bus, any_server, sample_tree, tmp_path):
    moved = tmp_path / "elsewhere"
    shutil.copytree(installed, moved, symlinks=True)
    # Nothing of the first one is left to be found.
    hidden = installed.with_name(installed.name + "-hidden")
    installed.rename(hidden)
    try:
        check_upload(moved, bus, any_server, sample_tree, tmp_path)
    finally:
        hidden.rename(installed)


def test_a_helper_that_is_missing_is_told(installed, bus, any_server, sample_tree, tmp_path):
    incomplete = tmp_path / "incomplete"
    shutil.copytree(installed / "bin", incomplete / "bin")
    run = run_tool(incomplete, bus, tmp_path, sample_tree.path, any_server.address)
    assert run.returncode == 1
    assert "TelvoFTPHelper is not installed" in run.stderr


def test_the_librarys_texts_are_found_by_a_program_beside_them(installed, tmp_path):
    # The library's own tests, put where the helper is: their byte counts then come from the installed tables.
    program = installed / "libexec" / "telvo" / "library-tests"
    shutil.copy(LIBRARY_TESTS, program)
    command = [program, "--gtest_filter=NSStringTelvoByteCounts.FollowTheUsersLanguage"]
    resources = installed / "libexec" / "telvo" / "Resources"
    try:
        subprocess.run(command, check=True, timeout=60, cwd=tmp_path, stdout=subprocess.PIPE)
        # And from nowhere else: without the tables the same test fails.
        resources.rename(resources.with_name("Other"))
        without = subprocess.run(command, timeout=60, cwd=tmp_path, stdout=subprocess.PIPE)
        assert without.returncode != 0
    finally:
        if not resources.exists():
            resources.with_name("Other").rename(resources)
        program.unlink()


def test_every_language_is_installed(installed):
    languages = {"en", "de", "fr", "es", "it", "ja", "zh-Hans"}
    tables = {path.parent.stem for path in installed.glob("libexec/telvo/Resources/*.lproj/TelvoOpen.strings")}
    assert tables == languages


def test_manual_pages_and_completions_are_installed(installed):
    pages = {str(path.relative_to(installed / "share/man")) for path in installed.glob("share/man/*/*")}
    assert pages == {"man1/TelvoFTPHelper.1", "man1/telvo-upload.1", "man3/libtelvo-owner.3", "man7/telvo-extensions.7"}
    assert (installed / "share/bash-completion/completions/telvo-upload").is_file()
    assert (installed / "share/zsh/site-functions/_telvo-upload").is_file()
