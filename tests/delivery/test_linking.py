"""The page about the extension library tells how to link it: what it says works, as it stands, with an installation."""

import os
import pathlib
import re
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
SECTION = (ROOT / "docs" / "extension-library.md").read_text().split("## How to link")[1].split("\n## ")[0]


def block(language):
    [text] = re.findall(rf"```{language}\n(.*?)```", SECTION, re.DOTALL)
    return text


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


def test_each_header_that_the_page_names_is_installed(installed):
    headers = re.findall(r"<(telvo/[^>]+)>", SECTION)
    assert len(set(headers)) == 3
    for header in headers:
        assert (installed / "include" / header).is_file(), header


def test_every_header_and_example_names_its_licence(installed):
    texts = [*installed.rglob("*.h"), *(path for path in (ROOT / "examples").glob("owner-*/*.*") if path.suffix != ".md")]
    assert len(texts) > 50
    for path in texts:
        if path.name != "CMakeLists.txt":
            assert "SPDX-License-Identifier: MIT" in "".join(path.read_text().splitlines(keepends=True)[:2]), path
    assert (ROOT / "LICENSE").read_text().startswith("MIT License")
