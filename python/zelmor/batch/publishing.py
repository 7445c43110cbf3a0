"""Giving finished files their names.

A job makes its files in a folder for drafts, beside the place where they belong, and only a complete file gets its
name. So a run that is ended leaves no half file, and a file that exists is never replaced unasked, even if it comes
into being while the job is done.
"""

from __future__ import annotations

import errno
import filecmp
import os
import shutil
from collections.abc import Sequence


def draft_folder(target_folder: str, run: str) -> str:
    """Where the drafts of a run for this folder are made."""
    return os.path.join(target_folder, f".zelmor-{run}")


def publish(made: Sequence[tuple[str, str]], overwrite: bool, adopt: bool) -> None:
    """Moves complete files, given as pairs of draft and target, to their places.

    Raises FileExistsError if there is a file that may not be replaced, and then moves none. With `adopt` a file with
    the very same content counts as moved: an earlier run was ended between the files of a job.
    """
    for draft, target in made:
        if not os.path.exists(draft):
            raise FileNotFoundError(f"the file {draft} that a worker made is not visible here: the machines of a "
                                    "cluster need the same folders as this one")
        if not overwrite and os.path.lexists(target) and not (adopt and _same(draft, target)):
            raise FileExistsError(f"{target} exists")
    for draft, target in made:
        try:
            _give_name(draft, target)
        except FileExistsError:
            if overwrite:
                _replace(draft, target)
            elif not (adopt and _same(draft, target)):
                raise FileExistsError(f"{target} exists") from None


def _same(draft: str, target: str) -> bool:
    return os.path.isfile(target) and filecmp.cmp(draft, target, shallow=False)


def _give_name(draft: str, target: str) -> None:
    if os.path.islink(target) and not os.path.exists(target):
        raise FileExistsError(target)  # the file that the link leads to is to be made
    try:
        os.link(draft, target)  # fails if the target exists, in one step with making it
    except PermissionError:
        pass  # the file system has no hard links
    except OSError as error:
        if error.errno not in (errno.EOPNOTSUPP, errno.ENOSYS, errno.EMLINK):
            raise
    else:
        os.unlink(draft)
        return
    with open(target, "xb"):
        pass  # takes the name; it is replaced by the file in one step
    try:
        os.replace(draft, target)
    except BaseException:
        os.unlink(target)
        raise


def _replace(draft: str, target: str) -> None:
    """Replaces a file as the library does it: permissions, owner and links stay, and it is the old or the new one."""
    from zelmor.imaging import StreamContainer

    with open(draft, "rb") as file, StreamContainer(file) as container:
        container.save(target)


def remove_drafts(folder: str) -> None:
    """Removes a folder of drafts with all that is left in it, if it is there."""
    shutil.rmtree(folder, ignore_errors=True)
