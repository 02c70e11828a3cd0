"""A release, with everything that takes an hour replaced: what is refused, what is tagged, and that a failure leaves
nothing behind."""

import datetime
import pathlib
import re
import shutil
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
KEPT = ["CMakeLists.txt", "packaging/release", "packaging/version", "packaging/debian/control"]
REPLACED = [".ci/run", "packaging/make-debian-packages", "packaging/test-debian-packages"]
NEWS = "### Added\n\n- Something that users will like.\n"
CHANGELOG = "# Changelog\n\n## [Unreleased]\n\n{}\n## [0.9.0] - 2026-01-01\n\n- The first one.\n"


class Project:
    def __init__(self, folder):
        self.folder = folder
        self.git("init", "--quiet", "--initial-branch=main")
        self.git("config", "user.name", "A Developer")
        self.git("config", "user.email", "developer@example.com")
        for name in KEPT:
            self.path(name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / name, self.path(name))
        for name in REPLACED:
            self.write_step(name, 0)
        (folder / ".gitignore").write_text("/build/\n")
        self.write_changelog(NEWS)

    def path(self, name):
        return self.folder / name

    def git(self, *arguments):
        return subprocess.check_output(["git", *arguments], cwd=self.folder, text=True, timeout=60)

    def commit(self):
        self.git("add", "--all")
        self.git("commit", "--quiet", "--message", "Change something")

    def write_step(self, name, status):
        """One that only says which it is, and of which version."""
        self.path(name).parent.mkdir(exist_ok=True)
        self.path(name).write_text(f"#!/bin/bash\necho {name} $(packaging/version) \"$@\"\nexit {status}\n")
        self.path(name).chmod(0o755)

    def write_changelog(self, news):
        self.path("CHANGELOG.md").write_text(CHANGELOG.format(news))
        self.commit()

    def release(self, *arguments):
        run = subprocess.run([self.path("packaging/release"), *arguments], text=True, timeout=120,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        return run.returncode, run.stdout, run.stderr

    def state(self):
        return self.git("for-each-ref"), self.git("status", "--porcelain")


@pytest.fixture
def project(tmp_path):
    return Project(tmp_path)


def test_a_release_has_the_version_the_date_the_news_and_a_tag(project):
    status, output, error = project.release("1.4.0")
    assert (status, error) == (0, "")
    assert output.splitlines()[:3] == [".ci/run 1.4.0", "packaging/make-debian-packages 1.4.0 build/debian",
                                       "packaging/test-debian-packages 1.4.0 build/debian"]
    assert subprocess.check_output([project.path("packaging/version")], text=True) == "1.4.0\n"
    today = datetime.datetime.now(datetime.timezone.utc).date()
    text = project.path("CHANGELOG.md").read_text()
    assert re.search(r"## \[Unreleased\]\n\n## \[1\.4\.0\] - (\S+)\n\n### Added\n\n- Something", text)
    dated = datetime.date.fromisoformat(re.search(r"## \[1\.4\.0\] - (\S+)", text).group(1))
    assert abs((today - dated).days) <= 1
    assert project.git("describe") == "v1.4.0\n"
    assert project.git("log", "-1", "--format=%s") == "Release 1.4.0\n"
    assert project.git("for-each-ref", "--format=%(contents)", "refs/tags/v1.4.0").strip() == \
        f"Version 1.4.0\n\n{NEWS}".strip()
    assert project.git("status", "--porcelain") == ""


def test_the_next_release_comes_after_it(project):
    assert project.release("1.4.0")[0] == 0
    before = project.state()
    assert "nothing new" in project.release("1.5.0")[2]
    assert "v1.4.0 is there already" in project.release("1.4.0")[2]
    assert "1.3.9 comes before 1.4.0" in project.release("1.3.9")[2]
    assert project.state() == before
    project.path("CHANGELOG.md").write_text(project.path("CHANGELOG.md").read_text().replace(
        "## [Unreleased]\n", f"## [Unreleased]\n\n{NEWS}"))
    project.commit()
    assert project.release("1.10.0")[0] == 0
    assert project.git("describe") == "v1.10.0\n"


@pytest.mark.parametrize("step", REPLACED)
def test_a_failure_leaves_everything_as_it_was(project, step):
    project.write_step(step, 3)
    project.commit()
    before = project.state()
    status, output, _ = project.release("1.4.0")
    assert status != 0
    assert output.splitlines()[-1].startswith(step)
    assert project.state() == before


@pytest.mark.parametrize("version", [[], ["1.4"], ["v1.4.0"], ["1.4.0", "1.5.0"], ["1.4.0-rc1"]])
def test_what_is_no_version_is_a_wrong_command_line(project, version):
    status, output, error = project.release(*version)
    assert (status, output) == (2, "")
    assert "usage" in error


def test_what_is_not_committed_is_not_released(project):
    project.path("new").write_text("x")
    before = project.state()
    assert "not committed" in project.release("1.4.0")[2]
    assert project.state() == before


def test_a_new_soname_needs_a_package_of_that_name(project):
    assert "has no libtelvo2" in project.release("2.0.0")[2]


def test_what_was_committed_meanwhile_is_not_lost(project):
    # The clone is no place for this, so the step that runs in it changes the project itself.
    project.write_step(".ci/run", 0)
    step = project.path(".ci/run")
    step.write_text(step.read_text().replace(
        "exit 0", "cd ../.. && touch other && git add other && git commit --quiet --message Other\nexit 0"))
    project.commit()
    status, _, error = project.release("1.4.0")
    assert status == 1 and "meanwhile" in error
    assert project.git("log", "-1", "--format=%s") == "Other\n"
    assert project.git("tag") == ""


def test_the_version_stands_in_one_place(build):
    version = subprocess.check_output([ROOT / "packaging" / "version"], text=True).strip()
    assert re.fullmatch(r"\d+\.\d+\.\d+", version)
    for program in ("TelvoFTPHelper", "telvo-upload"):
        told = subprocess.check_output([build / program, "--version"], text=True)
        assert told.split()[-1] == version


def test_the_debian_changelog_is_one_of_that_version(tmp_path):
    text = subprocess.check_output([ROOT / "packaging" / "version", "--debian-changelog"], text=True,
                                   env={"SOURCE_DATE_EPOCH": "86400", "PATH": "/usr/bin:/bin"})
    control = (ROOT / "packaging" / "debian" / "control").read_text()
    [maintainer] = re.findall(r"^Maintainer: (.+ <\S+@\S+>)$", control, re.MULTILINE)
    assert re.fullmatch(r"telvo \(\d+\.\d+\.\d+\) unstable; urgency=medium\n\n  \* .*\n\n"
                        rf" -- {re.escape(maintainer)}  Fri, 02 Jan 1970 00:00:00 \+0000\n", text)
