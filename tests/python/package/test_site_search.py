"""The search of the site in a real browser: what a person types is the first result.

The site has all entries of the search and the front page, but not the pages that they lead to, which would take a
minute to make; that each entry leads to a place is a test of the generator.
"""

from __future__ import annotations

import functools
import shutil
import subprocess
import sys
import threading
from collections.abc import Iterator
from http.server import SimpleHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path
from typing import Any

import pytest

from support.places import CATALOGUE, ROOT
from tools.browser import CHROMIUM, Browser
from tools.generator.builder import load
from tools.generator.documentation import Documentation

CATALOGUES = ["api/catalogue", *(f"siblings/catalogue/{name}" for name in ("pyreflection", "pyio", "pydrawing"))]
MODEL = load(CATALOGUE)
MKDOCS = shutil.which("mkdocs")
KEPT = ("index.md", "gallery.md", "modules.md", "collections.md")

pytestmark = [
    pytest.mark.skipif(CHROMIUM is None, reason="needs a browser: Debian's chromium (purpose browser of packages.txt)"),
    pytest.mark.skipif(MKDOCS is None, reason="needs mkdocs (purpose docs of packages.txt)"),
]


class Handler(SimpleHTTPRequestHandler):
    """Serves the files of the site without a log."""

    def log_message(self, format: str, *args: Any) -> None:
        """Logs nothing."""


@pytest.fixture(scope="module")
def site(tmp_path_factory: pytest.TempPathFactory) -> Iterator[str]:
    """The address of a site with the front page and all entries of the search."""
    out = tmp_path_factory.mktemp("site")
    subprocess.run([sys.executable, "-B", "-m", "tools.generator", "reference", str(out), "docs", "examples",
                    str(out / "no pictures"), *CATALOGUES], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    for path in (out / "pages").rglob("*.md"):
        if str(path.relative_to(out / "pages")) not in KEPT:
            path.unlink()
    settings = (out / "mkdocs.yml").read_text()
    (out / "mkdocs.yml").write_text(settings[:settings.index("\nnav:") + 1])
    assert MKDOCS is not None
    subprocess.run([MKDOCS, "build", "--quiet", "-f", str(out / "mkdocs.yml")], check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    server = ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Handler, directory=str(out / "html")))
    threading.Thread(target=server.serve_forever, daemon=True).start()
    yield f"http://127.0.0.1:{server.server_address[1]}"
    server.shutdown()
    server.server_close()


@pytest.fixture(scope="module")
def browser(tmp_path_factory: pytest.TempPathFactory) -> Iterator[Browser]:
    """A browser for all tests of this file."""
    with Browser(tmp_path_factory.mktemp("profile")) as started:
        yield started


SHOWN = ("[...document.querySelectorAll('.md-search-result__link')].map("
         "link => [link.querySelector('h1').textContent.replace(link.querySelector('.found').textContent, ''), "
         "link.href])")


def results(browser: Browser, site: str, query: str) -> list[list[str]]:
    """The titles and addresses that the search shows for what is typed."""
    browser.open(f"{site}/index.html")
    # It is ready once it says something other than "Initializing search".
    browser.evaluate("document.querySelector('[data-md-component=search-query]').focus()")
    browser.wait_for("!/Initializing/.test(document.querySelector('.md-search-result__meta').textContent)")
    browser.type_text(query)
    # Each key gives an answer; the last one has come when the list no longer changes.
    browser.wait_for(f"new Promise(done => {{ const before = JSON.stringify({SHOWN}); setTimeout("
                     f"() => done(JSON.stringify({SHOWN}) === before && !/Type to/.test(document.querySelector("
                     "'.md-search-result__meta').textContent)), 400) })")
    found: list[list[str]] = browser.evaluate(SHOWN)
    return [[title, address.removeprefix(site)] for title, address in found]


@pytest.mark.parametrize("query, title, address", [
    ("Image.load", "Image.load", "/zelmor.imaging/Image.html#load"),
    ("image.load()", "Image.load", "/zelmor.imaging/Image.html#load"),
    ("can_load", "Image.can_load", "/zelmor.imaging/Image.html#can_load"),
    ("from_argb", "Color.from_argb", "/zelmor.imaging/Color.html#from_argb"),
    ("compression_level", "PngOptions.compression_level",
     "/zelmor.imaging.imageoptions/PngOptions.html#compression_level"),
    ("LANCZOS_RESAMPLE", "ResizeType.LANCZOS_RESAMPLE", "/zelmor.imaging/ResizeType.html#LANCZOS_RESAMPLE"),
    ("PNG options", "PngOptions", "/zelmor.imaging.imageoptions/PngOptions.html"),
    ("zelmor.imaging.sources", "zelmor.imaging.sources", "/zelmor.imaging.sources/index.html"),
    ("the streams", "Streams", "/guide/streams.html"),
])
def test_what_is_typed_is_the_first_result(browser: Browser, site: str, query: str, title: str, address: str) -> None:
    found = results(browser, site, query)
    assert found[0] == [title, address], found[:5]


def test_a_word_of_a_text_is_found_behind_names(browser: Browser, site: str) -> None:
    found = results(browser, site, "resampl")
    assert any("LANCZOS_RESAMPLE" in title for title, _ in found)
    assert not results(browser, site, "no such thing anywhere")


def test_results_show_what_a_member_is_for(browser: Browser, site: str) -> None:
    entry = next(entry for entry in MODEL.types if entry.dotted == "zelmor.imaging.Image")
    results(browser, site, "can_load_stream")
    shown = browser.evaluate("document.querySelector('.md-search-result__link .found').textContent")
    assert shown == Documentation.of([MODEL]).of_member(entry, "can_load_stream").replace("`", "")


def test_the_front_page_shows_itself(browser: Browser, site: str, tmp_path: Path) -> None:
    """It has a title, no error, and a search that takes the keyboard."""
    browser.open(f"{site}/index.html")
    assert browser.evaluate("document.querySelector('h1').textContent.length") > 5
    browser.screenshot(tmp_path / "front.png")
    assert (tmp_path / "front.png").read_bytes()[:4] == b"\x89PNG"


def test_what_is_typed_too_early_is_answered_later(browser: Browser, site: str) -> None:
    browser.open(f"{site}/index.html")
    browser.evaluate("document.querySelector('[data-md-component=search-query]').focus()")
    browser.type_text("can_load")
    browser.wait_for("document.querySelector('.md-search-result__link') !== null")
