"""Many pictures on all processors

A call of the library holds the lock of the interpreter, so that threads do not help: processes do. Paths go to the
workers, and each of them opens its own pictures.
"""

from concurrent.futures import ProcessPoolExecutor
from pathlib import Path

import zelmor
from zelmor.imaging import RasterImage, ResizeType


def shrink(path: Path) -> str:
    """Makes a small picture of one."""
    with zelmor.open(path, RasterImage) as image:
        image.resize_width_proportionally(48, ResizeType.LANCZOS_RESAMPLE)
        target = Path("shrunk") / path.with_suffix(".png").name
        image.save(str(target))
    return target.name


if __name__ == "__main__":
    Path("shrunk").mkdir(exist_ok=True)
    with ProcessPoolExecutor(max_workers=2) as workers:
        for made in workers.map(shrink, sorted(Path("photos").glob("*.jpg"))):
            print(made)
