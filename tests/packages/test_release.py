"""What is asked of a release, and the files that Debian's tools get."""

from __future__ import annotations

import subprocess
from pathlib import Path

import pytest

from tools.packages.debian import complete, packages_for
from tools.packages.project import PackagingError, read_project, read_version
from tools.packages.release import check_release

from packages.places import ROOT

TEMPLATES = ROOT / "packaging" / "debian"


def git(folder: Path, *arguments: str) -> None:
    """A git command with an author."""
    subprocess.run(["git", "-c", "user.name=a", "-c", "user.email=a@example.org", *arguments], cwd=folder, check=True,
                   capture_output=True)


@pytest.fixture
def clone(tmp_path: Path) -> Path:
    """A repository with one commit of version 1.2.3.4."""
    git(tmp_path, "init", "-q")
    (tmp_path / "CMakeLists.txt").write_text("# first\nproject(a VERSION 1.2.3.4 LANGUAGES C)\n")
    git(tmp_path, "add", ".")
    git(tmp_path, "commit", "-qm", "all")
    return tmp_path


def refusal(folder: Path) -> str:
    """Why there is no release."""
    with pytest.raises(PackagingError) as caught:
        check_release(folder)
    return str(caught.value)


def test_a_tagged_commit_is_released(clone: Path) -> None:
    git(clone, "tag", "v1.2.3.4")
    check_release(clone)


def test_the_tag_has_to_be_there(clone: Path) -> None:
    assert refusal(clone) == ("the version is 1.2.3.4, but the commit has no tag: tag it as v1.2.3.4, or change the "
                              "version in CMakeLists.txt")


def test_the_tag_has_to_be_that_of_the_version(clone: Path) -> None:
    git(clone, "tag", "v1.2.3.5")
    git(clone, "tag", "other")
    assert "but the commit has the tags other, v1.2.3.5: tag it as v1.2.3.4" in refusal(clone)


def test_a_tag_of_an_earlier_commit_does_not_count(clone: Path) -> None:
    git(clone, "tag", "v1.2.3.4")
    git(clone, "commit", "-qm", "more", "--allow-empty")
    assert "the commit has no tag" in refusal(clone)


def test_everything_has_to_be_committed(clone: Path) -> None:
    git(clone, "tag", "v1.2.3.4")
    (clone / "new").touch()
    assert refusal(clone) == "a release is made of a commit, and the tree differs: ?? new"
    (clone / "CMakeLists.txt").write_text("project(a VERSION 1.2.3.4)\n# changed\n")
    assert refusal(clone) == "a release is made of a commit, and the tree differs: M CMakeLists.txt and 1 more"


def test_an_unpacked_archive_is_no_clone(tmp_path: Path) -> None:
    (tmp_path / "CMakeLists.txt").write_text("project(a VERSION 1.2.3.4)\n")
    assert refusal(tmp_path) == "a release is made in a clone of the repository"
    (tmp_path / "CMakeLists.txt").write_text("project(a)\n")
    assert refusal(tmp_path) == "CMakeLists.txt has no project() with a version"


def test_the_changelog_has_the_version_and_the_date(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("DEBFULLNAME", "A B")
    monkeypatch.setenv("DEBEMAIL", "a.b@example.org")
    text = complete((TEMPLATES / "changelog.in").read_text(), read_project(), 0)
    assert text.startswith(f"zelmor-imaging ({read_version()}-1) ")
    assert " -- A B <a.b@example.org>  Thu, 01 Jan 1970 00:00:00 +0000\n" in text


def test_the_build_needs_the_packages_of_the_list() -> None:
    text = complete((TEMPLATES / "control.in").read_text(), read_project(), 0)
    assert "@" not in text.replace("@example.org", "")
    paragraph = text.split("Build-Depends:")[1].split("Build-Depends-Indep:")[0]
    wanted = {line.strip(" ,") for line in paragraph.splitlines() if line.strip()}
    assert set(packages_for("compile", "build")) - wanted == {"g++", "ccache", "libgtest-dev"}
    assert wanted - set(packages_for("compile", "build")) == {"debhelper-compat (= 13)", "dh-python"}
