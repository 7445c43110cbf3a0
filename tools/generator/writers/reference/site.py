"""Writes everything that mkdocs makes the site from: pages, guides, the front page, the search and the settings."""

from __future__ import annotations

import json
import shutil
from pathlib import Path

from ...model import Model
from ..text import write_if_changed
from . import markdown as md
from .gallery import Program, read_programs, shown_page
from .guides import Guide, read_guides
from .pages import MODULES_PAGE, ReferenceWriter
from .search import search_entries

#: The files of the folder `site` beside the guides, and where they go.
STATIC = {"search.js": "pages/assets/search.js", "site.css": "pages/assets/site.css",
          "main.html": "overrides/main.html"}
#: The hand-written pages of that folder.
PAGES = ("index.md", "gallery.md")

_SETTINGS = """# Written by the generator.
site_name: zelmor.imaging
docs_dir: pages
site_dir: html
use_directory_urls: false
theme:
  name: material
  custom_dir: overrides
  font: false
  features: [navigation.instant, navigation.tabs, navigation.top]
extra_css: [assets/site.css]
plugins:
  # The theme shows its search where this plugin is; the entries are our own, assets/entries.json.
  - search: {indexing: titles}
markdown_extensions:
  - attr_list
  - toc: {permalink: true, toc_depth: 3}
  - tables
  - admonition
  - pymdownx.details
  - pymdownx.highlight
  - pymdownx.superfences
nav:
  - Home: index.md
  - Gallery: gallery.md"""


def settings(writer: ReferenceWriter, guides: list[Guide]) -> list[str]:
    """What mkdocs reads; types are reached from their modules, since a list of all on each page helps nobody."""
    lines = _SETTINGS.split("\n")
    for title, developers in (("Guides", False), ("Development", True)):
        chosen = [guide for guide in guides if guide.for_developers == developers]
        if chosen:
            lines += [f"  - {title}:", *(f"      - {json.dumps(guide.title)}: {guide.page}" for guide in chosen)]
    return [*lines, "  - Reference:", f"      - Modules: {MODULES_PAGE}",
            f"      - Typed collections: {md.COLLECTIONS_PAGE}",
            *(f"      - {module.name}: {md.module_page(module.name)}" for module in writer.modules)]


def read_examples(folder: Path) -> dict[str, list[str]]:
    """The programs of a folder by their names."""
    return {path.stem: path.read_text().splitlines() for path in sorted(folder.glob("*.py"))}


def site_pages(docs: Path, programs: dict[str, Program]) -> dict[str, list[str]]:
    """The hand-written pages by their path."""
    return {name: shown_page(docs / "site" / name, programs) for name in PAGES}


def write_site(models: list[Model], out: Path, docs: Path, examples: Path, pictures: Path) -> int:
    """Writes all files below `out` and removes pages that are gone; the number of pages."""
    writer = ReferenceWriter(models, read_examples(examples / "reference"))
    guides, programs = read_guides(docs), read_programs(examples / "gallery", pictures)
    pages = out / "pages"
    written = {pages / path: lines for path, lines in (writer.write() | site_pages(docs, programs)).items()}
    written |= {pages / guide.page: guide.text().split("\n") for guide in guides}
    written[out / "mkdocs.yml"] = settings(writer, guides)
    entries = json.dumps(search_entries(writer, guides), separators=(",", ":"), ensure_ascii=False)
    written[pages / "assets" / "entries.json"] = [entries]
    for path, lines in written.items():
        write_if_changed(path, lines)
    copied = {pages / "guide" / path.name: path for path in docs.iterdir()
              if path.is_file() and path.suffix != ".md"}
    copied |= {out / target: docs / "site" / name for name, target in STATIC.items()}
    copied |= {pages / program.picture_page: program.picture for program in programs.values()
               if program.picture is not None}
    for target, source in copied.items():
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(source, target)
    kept = {*written, *copied}
    for path in pages.rglob("*.md"):
        if path not in kept:
            path.unlink()
    return sum(path.suffix == ".md" for path in kept)
