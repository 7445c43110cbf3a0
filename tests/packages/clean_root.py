"""A new Debian system in a folder, made by mmdebstrap, in which a script runs.

The mirrors, keys and proxies are those of this machine's own apt.
"""

from __future__ import annotations

import shlex
import subprocess
from pathlib import Path

import pytest


def apt_sources() -> list[Path]:
    """The files in which this machine's apt has its sources."""
    def place(kind: str) -> Path:
        output = subprocess.run(["apt-config", "shell", "found", f"Dir::Etc::{kind}/{'d' if 'parts' in kind else 'f'}"],
                                check=True, capture_output=True, text=True).stdout
        return Path(shlex.split(output.removeprefix("found="))[0])
    single, folder = place("sourcelist"), place("sourceparts")
    files = [single, *sorted(folder.iterdir() if folder.is_dir() else ())]
    return [file for file in files if file.suffix in (".list", ".sources") and file.is_file()
            and any(line.startswith(("deb", "Types:")) for line in file.read_text().splitlines())]


def run_in_clean_root(script: Path, inputs: Path, work: Path) -> Path:
    """Runs the script in a new root that has the folder `inputs` as /packages; returns a copy of its folder /steps.

    Skips the test where no root can be made: that has nothing to do with the packages.
    """
    options = work / "acquire.conf"
    settings = subprocess.run(["apt-config", "dump"], check=True, capture_output=True, text=True).stdout
    options.touch(0o600)  # proxies may have passwords
    options.write_text("".join(f"{line}\n" for line in settings.splitlines()
                               if line.startswith("Acquire::") and not line.startswith("Acquire::IndexTargets")))
    release = dict(line.split("=", 1) for line in Path("/etc/os-release").read_text().splitlines() if "=" in line)
    command = ["mmdebstrap", "--variant=apt", "--format=null", f"--aptopt={options}",
               f"--customize-hook=copy-in {shlex.quote(str(inputs))} /",
               f"--customize-hook=upload {shlex.quote(str(script))} /scenario.sh",
               "--customize-hook=chroot \"$1\" sh /scenario.sh",
               f"--customize-hook=copy-out /steps {shlex.quote(str(work))}",
               release["VERSION_CODENAME"], "/dev/null", *map(str, apt_sources())]
    done = subprocess.run(command, check=False, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if not (work / "steps" / "started").exists():
        pytest.skip(f"mmdebstrap cannot make a root here: {done.stdout.strip().splitlines()[-1]}")
    assert done.returncode == 0, done.stdout
    return work / "steps"
