"""Puts the pictures of a tour on one sheet, each before and after.

This program uses Pillow on purpose: it reads the files of zelmor.imaging with an independent library, so that a file
that only its writer can read would show.
"""

import argparse
import json
import sys
from pathlib import Path

from PIL import Image, ImageDraw, ImageFont, ImageOps

CELL = (270, 200)
CAPTION = 30
COLUMNS = 3
PAPER, INK, FAINT = (250, 250, 247), (30, 30, 30), (120, 120, 120)


def thumbnail(path: Path) -> tuple[Image.Image, str]:
    """The picture, scaled to fit in one cell, and a line with its format and size."""
    with Image.open(path) as picture:
        about = f"{picture.format} {picture.width}x{picture.height}"
        picture.draft("RGB", (2 * CELL[0], 2 * CELL[1]))  # avoids decoding large JPEG files in full
        small = ImageOps.contain(picture.convert("RGB"), (CELL[0] - 10, CELL[1] - 10))
    return small, about


def sheet(directory: Path) -> Image.Image:
    """The contact sheet for the tour in a directory."""
    tour = json.loads((directory / "tour.json").read_text())
    width, height = 2 * CELL[0] + 20, CELL[1] + CAPTION + 10
    rows = -(-len(tour) // COLUMNS)
    page = Image.new("RGB", (COLUMNS * width, rows * height), PAPER)
    draw, font = ImageDraw.Draw(page), ImageFont.load_default()
    for index, stop in enumerate(tour):
        left, top = index % COLUMNS * width, index // COLUMNS * height
        draw.text((left + 10, top + 6), stop["caption"], INK, font)
        for side, path in enumerate((Path(stop["before"]), directory / stop["after"])):
            small, about = thumbnail(path)
            x = left + side * CELL[0] + 10
            page.paste(small, (x, top + CAPTION + 4))
            draw.text((x, top + 17), about, FAINT, font)
    return page


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("directory", type=Path, help="output directory of the tour")
    directory: Path = parser.parse_args().directory
    target = directory / "contact_sheet.png"
    sheet(directory).save(target)
    print(f"before and after: {target}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
