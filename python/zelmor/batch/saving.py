"""Saving a picture as what its target is to be."""

from __future__ import annotations

import os
import tempfile
from collections.abc import Mapping
from typing import Any

from zelmor import imaging, specific
from zelmor.batch import formats, jobs
from zelmor.batch.settings import apply, new_options, page_numbers
from zelmor.batch.steps import pages_of, raster_of
from zelmor.imaging import Image, ImageOptionsBase


def format_of(image: Image) -> formats.Format | None:
    """The format that an image was loaded from."""
    return formats.by_member(str(imaging.FileFormat(image.file_format).name))


def target_format(image: Image, target: str, output: jobs.Output) -> formats.Format:
    extension = os.path.splitext(target)[1]
    found = formats.by_name(output.format) if output.format else formats.by_extension(extension) or format_of(image)
    if found is None:
        raise ValueError(f"no format is known for {target!r}")
    if not found.options:
        raise ValueError(f"files of the format {found.name} can only be read")
    return found


def save(image: Image, draft: str, target: str, output: jobs.Output) -> str:
    """Saves the picture as what the target is to be; returns a note."""
    wanted = target_format(image, target, output)
    pages = pages_of(image)
    count = 1 if pages is None else len(pages)
    chosen = page_numbers(output.pages, count) if output.pages else []
    if chosen and not wanted.many:
        if len(chosen) > 1:
            raise ValueError(f"{len(chosen)} pages were asked for, and {wanted.name} files hold one")
        image = pages[chosen[0]] if pages is not None else image
        chosen = []
    same = format_of(image) == wanted
    by_extension = formats.by_extension(os.path.splitext(draft)[1])
    lost = count > 1 and not wanted.many and not output.pages
    if not output.settings and not chosen and not lost and (same or by_extension == wanted) and (
            wanted.name != "apng" or same):
        image.save(draft)
        return ""
    with _options(image, wanted, same) as options:
        if chosen:
            options.multi_page_options = imaging.imageoptions.MultiPageOptions(chosen)
        add_rasterization(image, options, wanted)
        apply(options, completed(output.settings, wanted))
        image.save(draft, options)
    return f"{wanted.name} holds one picture: the first of {count}" if lost else ""


def completed(settings: Mapping[str, str], wanted: formats.Format) -> dict[str, str]:
    """The settings, with those that follow from them: a WebP file of a quality is lossy."""
    lossy = wanted.name == "webp" and "quality" in settings and "lossless" not in settings
    return ({"lossless": "false"} if lossy else {}) | dict(settings)


def _options(image: Image, wanted: formats.Format, same: bool) -> Any:
    """New options of the format, or those that the picture was saved with if it has the format already."""
    made = new_options(wanted.options)
    if same:
        original = image.get_original_options()
        kept = None if original is None else type(made)._cast_to(original).value
        if kept is not None:
            return kept
    return made


def add_rasterization(image: Image, options: ImageOptionsBase, wanted: formats.Format) -> None:
    """Options that draw a drawing as it is, so that single ones of them can be changed."""
    if raster_of(image) is None and options.vector_rasterization_options is None:
        drawn = image.get_default_options([imaging.Color.white, image.width, image.height])
        made = imaging.imageoptions.VectorRasterizationOptions._cast_to(drawn).value
        if made is not None:
            options.vector_rasterization_options = specific(made)


def draft_path(drafts: str, target: str, output: jobs.Output) -> str:
    """The path of a draft: with the extension of its format, which the library goes by."""
    extension = os.path.splitext(target)[1]
    if output.format and formats.by_extension(extension) != formats.by_name(output.format):
        extension = "." + (*formats.by_name(output.format).extensions, "tif")[0]
    handle, path = tempfile.mkstemp(extension, dir=drafts)
    os.close(handle)
    os.unlink(path)  # the library makes the file, with the permissions that a new file has
    return path
