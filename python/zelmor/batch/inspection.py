"""What a file holds, as values that JSON has."""

from __future__ import annotations

import os
from typing import Any

from zelmor import specific
from zelmor.batch import jobs
from zelmor.batch.saving import format_of
from zelmor.batch.steps import pages_of, raster_of
from zelmor.imaging import Image


def inspect(image: Image, job: jobs.Inspect) -> dict[str, Any]:
    """Format, sizes and the form of the pixels; metadata if they are asked for."""
    found: dict[str, Any] = {"path": job.source}
    form = format_of(image)
    found["format"] = form.name if form is not None else str(image.get_type())
    if job.metadata:
        from zelmor.batch.metadata import shown

        return found | shown(specific(image))
    found["class"] = str(image.get_type()).rpartition(".")[2]
    found["bytes"] = os.path.getsize(job.source)
    found["width"], found["height"] = image.width, image.height
    raster = raster_of(image)
    found["pixels"] = raster is not None
    if raster is not None:
        found["bits_per_pixel"] = raster.bits_per_pixel
        found["alpha"] = raster.has_alpha
        found["palette"] = raster.use_palette
        found["dpi"] = [round(raster.horizontal_resolution, 2), round(raster.vertical_resolution, 2)]
    pages = pages_of(image)
    found["pages"] = 1 if pages is None else len(pages)
    return found
