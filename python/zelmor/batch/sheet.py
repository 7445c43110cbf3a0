"""A sheet of reduced pictures."""

from __future__ import annotations

from zelmor.batch import jobs
from zelmor.batch.settings import color
from zelmor.batch.steps import kernel, new_size, raster_of
from zelmor.imaging import (
    Font, Graphics, Image, PointF, RectangleF, SizeF, StringAlignment, StringFormat, TextRenderingHint)
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.imageoptions import PngOptions

_FONT, _FONT_SIZE, _LINE = "DejaVu Sans", 10, 18


def make_sheet(job: jobs.Sheet) -> Image:
    """The sheet, as an image that is not saved yet."""
    if not job.sources:
        raise ValueError("there are no pictures for the sheet")
    columns = min(job.columns, len(job.sources))
    rows = -(-len(job.sources) // columns)
    line = _LINE if any(job.captions) else 0
    across, down = job.width + job.gap, job.height + line + job.gap
    with PngOptions() as options:
        sheet = Image.create(options, columns * across + job.gap, rows * down + job.gap)
    graphics = Graphics(sheet)
    graphics.text_rendering_hint = TextRenderingHint.ANTI_ALIAS
    graphics.begin_update()
    graphics.clear(color(job.background))
    for index, source in enumerate(job.sources):
        left, top = job.gap + index % columns * across, job.gap + index // columns * down
        with Image.load(source) as image:
            _place(graphics, image, left, top, job)
        if index < len(job.captions) and job.captions[index]:
            _write(graphics, job.captions[index], RectangleF(left, top + job.height + 2, job.width, line), job)
    graphics.end_update()
    return sheet


def _place(graphics: Graphics, image: Image, left: int, top: int, job: jobs.Sheet) -> None:
    wanted = jobs.Resize(job.width, job.height, enlarge=False)
    width, height = new_size(image.width, image.height, wanted)
    if (width, height) != (image.width, image.height):
        image.resize(width, height, kernel(wanted.kernel))
    if raster_of(image) is None:
        from zelmor.batch.steps import done

        image = done(image, [jobs.Background(job.background)])
    graphics.draw_image_unscaled(image, left + (job.width - width) // 2, top + (job.height - height) // 2)


def _write(graphics: Graphics, text: str, area: RectangleF, job: jobs.Sheet) -> None:
    font = Font(_FONT, _FONT_SIZE)
    style = StringFormat()
    style.alignment = StringAlignment.CENTER
    whole = text
    while len(whole) > 1 and graphics.measure_string(text, font, SizeF(10000, area.height), style).width > area.width:
        whole = whole[:-1]
        text = whole + "…"
    graphics.draw_string(text, font, SolidBrush(color(job.color)), PointF(area.x + area.width / 2, area.y), style)
