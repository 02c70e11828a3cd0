"""The page about the extension library tells how to link it: what it says works, as it stands, with an installation."""

import os
import pathlib
import re
import subprocess
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGE = (ROOT / "docs" / "extension-library.md").read_text()
sys.path.insert(0, str(ROOT / "testing" / "tls"))

import certificates  # noqa: E402
import secure_servers  # noqa: E402


def section(title):
    return PAGE.split(f"## {title}\n")[1].split("\n## ")[0]


SECTION = section("How to link")


def block(language, text=SECTION):
    [found] = re.findall(rf"```{language}\n(.*?)```", text, re.DOTALL)
    return found


@pytest.fixture(scope="module")
def installed(build, tmp_path_factory):
    folder = tmp_path_factory.mktemp("installed")
    subprocess.run(["cmake", "--install", build, "--prefix", folder], check=True, stdout=subprocess.DEVNULL, timeout=120)
    return folder


@pytest.fixture
def project(tmp_path):
    (tmp_path / "program.cpp").write_text(block("cpp"))
    (tmp_path / "CMakeLists.txt").write_text(block("cmake"))
    return tmp_path


def run(project, installed, command, **environment):
    [package] = installed.rglob("telvo.pc")
    variables = os.environ | {"LD_LIBRARY_PATH": str(package.parents[1])} | environment
    return subprocess.check_output(["sh", "-ec", command], cwd=project, text=True, timeout=300, env=variables)


def test_with_cmake(project, installed):
    run(project, installed, "cmake -S . -B build && cmake --build build", CMAKE_PREFIX_PATH=str(installed))
    assert run(project, installed, "build/program") == "Tel\n"


def test_with_pkg_config(project, installed):
    [package] = installed.rglob("telvo.pc")
    run(project, installed, block("sh"), PKG_CONFIG_PATH=str(package.parent))
    assert run(project, installed, "./program") == "Tel\n"


def test_the_owner_librarys_manual_page_shows_a_program_and_how_to_link_it(project, installed):
    page = (ROOT / "docs" / "man" / "libtelvo-owner.3").read_text()
    [example] = re.findall(r"^\.SH EXAMPLES\n\.nf\n(.*?)^\.fi$", page, re.MULTILINE | re.DOTALL)
    (project / "program.cpp").write_text(example.replace("\\e", "\\"))
    [lines] = re.findall(r"^With CMake:\n\.PP\n\.nf\n(.*?)^\.fi$", page, re.MULTILINE | re.DOTALL)
    find, link = (re.sub(r'^\.BI? |" ?', "", line) for line in lines.splitlines())
    (project / "CMakeLists.txt").write_text("cmake_minimum_required(VERSION 3.20)\nproject(program LANGUAGES CXX)\n"
                                            f"add_compile_options(-Wall -Wextra -Wconversion -Werror)\n{find}\n"
                                            f"add_executable(program program.cpp)\n{link}\n")
    run(project, installed, "cmake -S . -B build && cmake --build build", CMAKE_PREFIX_PATH=str(installed))
    assert "libtelvo-owner.so.1" in run(project, installed, "readelf --dynamic build/program")


@pytest.fixture
def sender(project, installed):
    """The program that uploads without the helper."""
    (project / "program.cpp").write_text(block("cpp", section("Uploads in the program itself")))
    [package] = installed.rglob("telvo.pc")
    run(project, installed, block("sh").replace("c++ ", "c++ -Wall -Wextra -Wconversion -Werror "),
        PKG_CONFIG_PATH=str(package.parent))
    return project / "program"


def send(sender, installed, server, authority):
    [package] = installed.rglob("telvo.pc")
    kept = {key: value for key, value in os.environ.items() if not key.lower().endswith("_proxy")}
    return subprocess.run([sender, sender.with_suffix(".cpp"), server.address, server.username, authority.path],
                          input=f"{server.password}\n", env=kept | {"LD_LIBRARY_PATH": str(package.parents[1])},
                          text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120)


def test_the_program_that_sends_a_file_does_so_encrypted_or_not_at_all(sender, installed):
    with secure_servers.SecurePyftpdlib() as server:
        sent = send(sender, installed, server, certificates.authority())
        assert (sent.returncode, sent.stdout, sent.stderr) == (0, "", "")
        arrived = server.root / "program.cpp"
        assert arrived.read_text() == sender.with_suffix(".cpp").read_text()
        arrived.unlink()
        # Another authority than the server's.
        refused = send(sender, installed, server, certificates.Authority(sender.parent))
        assert (refused.returncode, refused.stdout) == (1, "")
        assert "certificate" in refused.stderr
        assert not arrived.exists()


def test_each_header_that_the_page_names_is_installed(installed):
    headers = re.findall(r"[<`](telvo/[^>`]+\.h)[>`]", PAGE)
    assert len(set(headers)) == 5
    for header in headers:
        assert (installed / "include" / header).is_file(), header


def test_every_header_and_example_names_its_licence(installed):
    texts = [*installed.rglob("*.h"), *(path for path in (ROOT / "examples").glob("owner-*/*.*") if path.suffix != ".md")]
    assert len(texts) > 50
    for path in texts:
        if path.name != "CMakeLists.txt":
            assert "SPDX-License-Identifier: MIT" in "".join(path.read_text().splitlines(keepends=True)[:2]), path
    assert (ROOT / "LICENSE").read_text().startswith("MIT License")
