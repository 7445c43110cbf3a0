"""The pictures that the programs of the cookbook work on, made by Pillow."""

from __future__ import annotations

import zipfile
from pathlib import Path

import numpy as np
from PIL import Image as Pillow, ImageDraw, ImageFont

from support.image_oracles import smooth

TEXT = ["The quick brown fox jumps over", "the lazy dog, and the dog does", "not mind at all. It goes on to",
        "sleep in the warm sun until it", "is evening, and then it walks"]


def waves(width: int, height: int, seed: int = 0) -> Pillow.Image:
    """A soft picture."""
    return Pillow.fromarray(np.roll(smooth(3, width, height), 17 * seed, axis=1))


def text_page(angle: float) -> Pillow.Image:
    """A page with lines of text, turned."""
    page = Pillow.new("L", (420, 300), 255)
    draw = ImageDraw.Draw(page)
    font = ImageFont.truetype("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", 18)
    for index, line in enumerate(TEXT):
        draw.text((50, 50 + 40 * index), line, 0, font)
    return page.rotate(angle, Pillow.Resampling.BICUBIC, fillcolor=255)


def write_pictures(folder: Path) -> None:
    """Everything that a program may ask for."""
    photo = waves(240, 160)
    photo.save(folder / "photo.jpg", quality=92)
    exif = Pillow.Exif()
    exif[0x112] = 6
    photo.save(folder / "sideways.jpg", quality=92, exif=exif)
    exif = Pillow.Exif()
    exif[0x10F], exif[0x110], exif[0x13B] = "Maker", "Model 1", "Somebody"
    exif[0x8769] = {0x9003: "2021:03:04 05:06:07"}
    xmp = (b'<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">'
           b'<rdf:Description xmlns:dc="http://purl.org/dc/elements/1.1/" rdf:about="" dc:format="image/jpeg"/>'
           b'</rdf:RDF></x:xmpmeta>')
    photo.save(folder / "camera.jpg", quality=92, exif=exif, dpi=(72, 72), comment=b"private")
    block = b"http://ns.adobe.com/xap/1.0/\0" + xmp
    data = (folder / "camera.jpg").read_bytes()
    (folder / "camera.jpg").write_bytes(data[:2] + b"\xff\xe1" + (len(block) + 2).to_bytes(2, "big") + block + data[2:])
    (folder / "photos").mkdir()
    for index in range(4):
        waves(240 + 40 * index, 200, index).save(folder / "photos" / f"{index}.jpg", quality=90)
    text_page(4).save(folder / "scan.png")
    logo = Pillow.new("RGBA", (96, 96))
    ImageDraw.Draw(logo).ellipse((4, 4, 92, 92), (220, 30, 40, 255))
    logo.save(folder / "logo.png")
    Pillow.fromarray(smooth(4, 60, 40), "CMYK").save(folder / "print.jpg", quality=95)
    frames = [waves(80, 60, index) for index in range(5)]
    frames[0].save(folder / "moving.gif", save_all=True, append_images=frames[1:], duration=80, loop=0)
    pages = [waves(60 + 10 * index, 50, index) for index in range(3)]
    pages[0].save(folder / "pages.tif", save_all=True, append_images=pages[1:])
    (folder / "drawing.svg").write_text('<svg xmlns="http://www.w3.org/2000/svg" width="120" height="60">'
                                        '<circle cx="60" cy="30" r="25" fill="#c00"/></svg>')
    changed = photo.copy()
    ImageDraw.Draw(changed).rectangle((100, 50, 139, 79), (255, 0, 0))
    changed.save(folder / "changed.png")
    with zipfile.ZipFile(folder / "photos.zip", "w") as archive:
        for index in range(2):
            archive.write(folder / "photos" / f"{index}.jpg", f"{index}.jpg")
    noise = Pillow.fromarray(np.random.default_rng(1).integers(0, 256, (200, 120, 3), np.uint8))
    noise.save(folder / "cut_off.png")
    data = (folder / "cut_off.png").read_bytes()
    (folder / "cut_off.png").write_bytes(data[:len(data) // 2])
    (folder / "mixed").mkdir()
    (folder / "mixed" / "a.jpg").write_bytes((folder / "photo.jpg").read_bytes())
    (folder / "mixed" / "b.txt").write_text("no picture\n" * 40)
    (folder / "mixed" / "c.png").write_bytes(data[:len(data) // 2])
    (folder / "mixed" / "d").mkdir()
