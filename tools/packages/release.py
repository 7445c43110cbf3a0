"""Whether the tree is a state that may be released."""

from __future__ import annotations

from pathlib import Path

from .project import ROOT, PackagingError, git, in_git, read_version


def check_release(root: Path = ROOT) -> None:
    """PackagingError unless everything is committed and the commit has the tag of its version."""
    version = read_version(root)
    if not in_git(root):
        raise PackagingError("a release is made in a clone of the repository")
    changed = git("status", "--porcelain", root=root).splitlines()
    if changed:
        raise PackagingError(f"a release is made of a commit, and the tree differs: {changed[0].strip()}"
                             + (f" and {len(changed) - 1} more" if len(changed) > 1 else ""))
    tags = git("tag", "--points-at", "HEAD", root=root).split()
    if f"v{version}" not in tags:
        found = f"the tags {', '.join(tags)}" if tags else "no tag"
        raise PackagingError(f"the version is {version}, but the commit has {found}: tag it as v{version}, or change "
                             "the version in CMakeLists.txt")
