"""Writing a source distribution: the files of the project in an archive from which every package can be built."""

from __future__ import annotations

import gzip
import io
import tarfile
from pathlib import Path

from .metadata import metadata
from .project import ROOT, Project, source_files


def write_sdist(project: Project, folder: Path, date: int, root: Path = ROOT) -> Path:
    """Writes the archive to the folder; returns its path."""
    folder.mkdir(parents=True, exist_ok=True)
    path = folder / f"{project.file_name}.tar.gz"
    contents = {name: ((root / name).read_bytes(), bool((root / name).stat().st_mode & 0o100))
                for name in source_files(root)}
    contents["PKG-INFO"] = (metadata(project).encode(), False)
    packed = io.BytesIO()
    with tarfile.open(fileobj=packed, mode="w", format=tarfile.PAX_FORMAT) as archive:
        for name, (data, executable) in sorted(contents.items()):
            entry = tarfile.TarInfo(f"{project.file_name}/{name}")
            entry.size, entry.mtime, entry.mode = len(data), date, 0o755 if executable else 0o644
            archive.addfile(entry, io.BytesIO(data))
    path.write_bytes(gzip.compress(packed.getvalue(), 6, mtime=date))
    return path
