"""Makes the pictures of the site in docs/: site_gallery.png and site_reference.png, from the site of `make docs`.

A headless Chromium shows the pages (Debian's chromium). Each picture carries the words that it shows as a text of the
PNG file, so that a test notices when they are no longer those of the site.

Usage: python3 -B -m tools.record_site [--build build]
"""

from __future__ import annotations

import argparse
import functools
import struct
import sys
import tempfile
import threading
import zlib
from http.server import SimpleHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

from tools.browser import Browser

DOCS = Path(__file__).parents[1] / "docs"
#: The pictures, the pages that they show, and the place on the page that is scrolled to.
PICTURES = {"site_gallery.png": ("gallery.html", ""),
            "site_reference.png": ("zelmor.imaging.imageoptions/PngOptions.html", "section-properties")}
KEYWORD = b"Shown"
#: The paragraphs and cells of tables that are on the screen as a whole.
_SHOWN = """[...document.querySelectorAll('.md-content p, .md-content td')].filter(element => {
    const box = element.getBoundingClientRect();
    return box.top >= 0 && box.bottom <= window.innerHeight && element.innerText.trim();
}).map(element => element.innerText.trim()).join('\\n')"""
_LOADED = "[...document.images].every(image => image.complete)"
#: Nothing of the theme moves while a picture is taken.
_STILL = """document.head.insertAdjacentHTML('beforeend',
    '<style>* { transition: none !important; animation: none !important }</style>')"""


def with_text(png: bytes, text: str) -> bytes:
    """The PNG file with the text before its end, compressed (zTXt)."""
    body = b"zTXt" + KEYWORD + b"\0\0" + zlib.compress(text.encode("latin-1", "replace"), 9)
    chunk = struct.pack(">I", len(body) - 4) + body + struct.pack(">I", zlib.crc32(body))
    return png[:-12] + chunk + png[-12:]


class _Handler(SimpleHTTPRequestHandler):
    """Serves the files of the site without a log."""

    def log_message(self, format: str, *arguments: object) -> None:
        """Logs nothing."""


def record(site: Path) -> None:
    """Makes the pictures."""
    server = ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(_Handler, directory=str(site)))
    threading.Thread(target=server.serve_forever, daemon=True).start()
    with tempfile.TemporaryDirectory() as profile, Browser(Path(profile), 1280, 1000) as browser:
        for name, (page, place) in PICTURES.items():
            browser.open(f"http://127.0.0.1:{server.server_address[1]}/{page}")
            browser.evaluate(_STILL)
            if place:  # below the bar at the top
                browser.evaluate(f"document.getElementById('{place}').scrollIntoView(true); window.scrollBy(0, -70)")
            browser.wait_for(_LOADED)
            browser.screenshot(DOCS / name)
            (DOCS / name).write_bytes(with_text((DOCS / name).read_bytes(), browser.evaluate(_SHOWN)))
            print(DOCS / name)
    server.shutdown()
    server.server_close()


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=Path, default=Path("build"), help="the build tree")
    record(parser.parse_args().build / "docs" / "html")
    return 0


if __name__ == "__main__":
    sys.exit(main())
