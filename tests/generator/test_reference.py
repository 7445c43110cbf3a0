"""The API reference: every link leads somewhere, every type has its page, and signatures are those of the stubs."""

from __future__ import annotations

import ast
import posixpath
import re
from pathlib import Path

import pytest
from PIL import Image

from tools.generator.builder import load
from tools.generator.documentation import described_members
from tools.generator.errors import CatalogueError, Findings
from tools.generator.writers.reference.guides import read_guides, sections
from tools.generator.writers.reference.markdown import escaped, first_sentence, page_of, table
from tools.generator.writers.reference.pages import ReferenceWriter
from tools.generator.writers.reference.search import search_entries
from tools.generator.writers.reference.gallery import read_programs, shown_page
from tools.generator.writers.reference.site import PAGES, STATIC, read_examples, site_pages
from tools.generator.writers.stubs.package import StubWriter

ROOT = Path(__file__).parents[2]
MODELS = [load(ROOT / "api" / "catalogue"), *(load(ROOT / "siblings" / "catalogue" / name) for name in (
    "pyreflection", "pyio", "pydrawing"))]


EXAMPLES = read_examples(ROOT / "examples" / "reference")
GUIDES = read_guides(ROOT / "docs")


@pytest.fixture(scope="module")
def writer() -> ReferenceWriter:
    return ReferenceWriter(MODELS, EXAMPLES)


@pytest.fixture(scope="module")
def pages(writer: ReferenceWriter) -> dict[str, str]:
    guides = {guide.page: guide.text() for guide in GUIDES}
    written = {path: "\n".join(lines) for path, lines in writer.write().items()}
    by_hand = site_pages(ROOT / "docs", read_programs(ROOT / "examples" / "gallery", ROOT / "no pictures"))
    return guides | written | {path: "\n".join(lines) for path, lines in by_hand.items()}


@pytest.fixture(scope="module")
def stubs() -> dict[str, str]:
    return {path: "\n".join(lines) for path, lines in StubWriter(MODELS).write(None).items()}


def headings(text: str) -> set[str]:
    """What can stand behind the # of a link to a page."""
    named = set(re.findall(r"^#+ .*\{ #(\S+) \}$", text, re.MULTILINE)) | set(re.findall(r'<a id="(\w+)"></a>', text))
    return named | {section.anchor for section in sections(text)}


def test_there_is_a_page_for_each_module_class_and_enumeration(pages: dict[str, str]) -> None:
    types = [entry for model in MODELS for entry in model.types]
    modules = [module for model in MODELS for module in model.modules]
    expected = {page_of(entry) for entry in types} | {f"{module.name}/index.md" for module in modules}
    assert set(pages) == expected | {*PAGES, "modules.md", "collections.md", *(guide.page for guide in GUIDES)}
    assert len(MODELS[0].types) == 891 + 255


def test_every_link_resolves(pages: dict[str, str]) -> None:
    count = 0
    for path, text in pages.items():
        for target in re.findall(r"\]\(([^)]*)\)", re.sub(r"```.*?```|`[^`\n]*`", "", text, flags=re.DOTALL)):
            name, _, heading = target.partition("#")
            found = posixpath.normpath(posixpath.join(posixpath.dirname(path), name)) if name else path
            picture = ROOT / "docs" / posixpath.basename(found)
            assert found in pages or (path.startswith("guide/") and picture.is_file()), f"{path} links to {target}"
            assert not heading or heading in headings(pages[found]), f"{path} links to {target}"
            count += 1
    assert count > 10_000


def test_the_page_of_a_module_links_to_each_type(pages: dict[str, str]) -> None:
    """The page of a module links to each of its types."""
    for model in MODELS:
        for module in model.modules:
            for entry in module.types:
                assert f"[{escaped(entry.name)}]({entry.name}.md)" in pages[f"{module.name}/index.md"]


def functions(stub: str, name: str) -> list[str]:
    """The signatures of a class's methods as the stub has them, without decorators and `self`."""
    found = next(item for item in ast.parse(stub).body if isinstance(item, ast.ClassDef) and item.name == name)
    shown = []
    for item in found.body:
        if isinstance(item, ast.FunctionDef) and not item.name.startswith("_") and item.name != "get_type" and not any(
                ast.unparse(decorator) == "property" for decorator in item.decorator_list):
            arguments = [arg for arg in item.args.args if arg.arg != "self"]
            text = ", ".join(f"{arg.arg}: {ast.unparse(arg.annotation)}" for arg in arguments if arg.annotation)
            shown.append(f"{item.name}({text})")
    return shown


@pytest.mark.parametrize("name", ["Image", "Graphics", "Pen", "ColorPalette", "Matrix"])
def test_signatures_are_those_of_the_stubs(pages: dict[str, str], stubs: dict[str, str], name: str) -> None:
    text = pages[f"zelmor.imaging/{name}.md"]
    methods = text[text.index("## Methods {"):]
    shown = [line.split(" -> ")[0] for line in re.findall(r"```python\n(.*)\n```", methods)]
    stated = functions(stubs["imaging/__init__.pyi"], name)
    assert sorted(shown) == sorted(stated)


def test_enumeration_tables_are_whole(pages: dict[str, str]) -> None:
    for model in MODELS:
        for entry in model.types:
            if entry.is_enum:
                rows = re.findall(r"^\| `(\w+)` \| (-?\d+) \|", pages[page_of(entry)], re.MULTILINE)
                assert [(member, int(value)) for member, value in rows] == entry.values


def offered(transcript: str, title: str) -> list[str]:
    """The names in one scene of the editor's transcript, without parameters."""
    scene = transcript[transcript.index(f"### {title}\n"):]
    return [line.split("(")[0] for line in scene.split("```")[3].split()] if "```" in scene else []


def test_the_editor_transcript_shows_what_the_model_has(pages: dict[str, str]) -> None:
    transcript = pages["guide/editor.md"]
    types = {entry.dotted: entry for entry in MODELS[0].types}
    entry = types["zelmor.imaging.imageoptions.PngOptions"]
    names = {"get_type"}
    for owner in [entry, *entry.bases()]:
        names |= {method.python for method in owner.methods} | {prop.python for prop in owner.properties}
    assert set(offered(transcript, "What PNG options offer")) == names
    children = next(module for module in MODELS[0].modules if module.name == "zelmor.imaging.fileformats").children
    assert set(offered(transcript, "Submodules")) == {child.last for child in children}


# -- texts, examples and the search ------------------------------------------------------------------------------------

def test_the_front_page_leads_to_what_there_is(pages: dict[str, str]) -> None:
    """Its Markdown links are checked with those of all pages; here are those in HTML, and the files of the site."""
    assert all((ROOT / "docs" / "site" / name).is_file() for name in STATIC)
    text = pages["index.md"]
    places = headings(pages["gallery.md"])
    targets = re.findall(r'href="gallery\.html#([\w-]+)"', text)
    assert targets and set(targets) <= places
    pictures = re.findall(r'src="gallery/(\w+)\.\w+"', text)
    assert len(pictures) == len(targets)
    assert all((ROOT / "examples" / "gallery" / f"{name}.py").is_file() for name in pictures)


def test_a_page_shows_the_programs_that_it_names(tmp_path: Path) -> None:
    (tmp_path / "programs").mkdir()
    (tmp_path / "programs" / "disk.py").write_text('"""A disk."""\n\nprint(1)\n\nprint(2)\n')
    (tmp_path / "made" / "disk").mkdir(parents=True)
    (tmp_path / "made" / "disk" / "disk.png").write_bytes(b"")
    programs = read_programs(tmp_path / "programs", tmp_path / "made")
    page = tmp_path / "page.md"
    page.write_text("# Shown\n\n{{ disk }}\n{{ code disk }}\n")
    assert shown_page(page, programs) == [
        "# Shown", "", "A disk.", "", "![A disk.](gallery/disk.png)", "", '??? example "disk.py"', "",
        "    ```python", "    print(1)", "", "    print(2)", "    ```", "```python", "print(1)", "", "print(2)", "```"]
    page.write_text("\n{{ square }}\n")
    with pytest.raises(CatalogueError, match=r"page\.md:2: there is no program square in the gallery"):
        shown_page(page, programs)


def test_texts_stand_on_the_pages_with_links_to_what_they_name(writer: ReferenceWriter) -> None:
    universe = writer.universe
    image = next(entry for entry in universe.types if entry.dotted == "zelmor.imaging.Image")
    text = "A `Pen` or `PngOptions.source`, see `load()` and `width`; not `b | c` nor [these]."
    assert universe.linked(text, "zelmor.imaging/Image.md", image) == (
        "A [`Pen`](Pen.md) or [`PngOptions.source`](ImageOptionsBase.md#source), see "
        "[`load()`](Image.md#load) and [`width`](Image.md#width); not `b | c` nor \\[these\\].")
    assert universe.linked("`Image.load`", "zelmor.imaging.fileformats.png/PngImage.md") == (
        "[`Image.load`](../zelmor.imaging/Image.md#load)"), "the nearest type of several with the name"
    assert universe.linked("`zelmor.imaging.sources`, `ResizeType.NO_SUCH`", "modules.md") == (
        "[`zelmor.imaging.sources`](zelmor.imaging.sources/index.md), `ResizeType.NO_SUCH`")


@pytest.mark.parametrize("text, first", [
    ("One. Two.", "One."), ("A file, e.g. one. `B` is next.", "A file, e.g. one."), ("No more", "No more"),
    ("Of [MS-EMF] 2.3. The rest.", "Of [MS-EMF] 2.3.")])
def test_lists_show_the_first_sentence(text: str, first: str) -> None:
    assert first_sentence(text) == first


def test_links_to_files_without_a_page_are_left_out(tmp_path: Path) -> None:
    text = "# A `guide`\n\nSee [the programs](../examples/x.py), ![a](../a.png), [b](b.md).\n"
    (tmp_path / "guide.md").write_text(text)
    (guide,) = read_guides(tmp_path)
    assert guide.title == "A `guide`"
    assert guide.text() == "# A `guide`\n\nSee the programs, ![a](../a.png), [b](b.md).\n"


def test_a_table_has_no_empty_columns() -> None:
    rows = [("a", "", "1", ""), ("b", "", "", "")]
    assert table(("Name", "Nothing", "Some", "Empty"), rows) == [
        "| Name | Some |", "|---|---|", "| a | 1 |", "| b |  |", ""]
    assert table(("Name",), []) == []


def test_an_example_stands_on_the_page_of_its_type(pages: dict[str, str]) -> None:
    for name, lines in EXAMPLES.items():
        shown = [text for path, text in pages.items() if path.endswith(f"/{name}.md") and "## Example {" in text]
        assert len(shown) == 1, name
        assert "\n".join(["```python", *lines, "```"]) in shown[0]


def test_an_example_about_no_type_is_refused() -> None:
    with pytest.raises(Findings, match="the example Imagine is about no type"):
        ReferenceWriter(MODELS, {"Imagine": ["pass"]})


def test_every_entry_of_the_search_leads_to_a_place(writer: ReferenceWriter, pages: dict[str, str]) -> None:
    entries = search_entries(writer, GUIDES)
    places = {path: headings(text) for path, text in pages.items()}
    for title, address, _, weight in entries:
        path, _, place = address.partition("#")
        page = path.removesuffix(".html") + ".md"
        assert page in pages, title
        assert not place or place in places[page], f"{title}: {address}"
        assert weight > 0
    members = sum(len(list(described_members(entry))) for model in MODELS for entry in model.types)
    constructed = sum(bool(entry.constructors) for model in MODELS for entry in model.types)
    types = sum(len(model.types) + len(model.modules) for model in MODELS)
    of_guides = sum(len(sections(guide.text())) for guide in GUIDES)
    assert len(entries) == types + members - constructed + of_guides


def words_shown(name: str) -> list[str]:
    """The words that a picture of the site in docs/ shows, by paragraphs and cells (tools/record_site.py)."""
    with Image.open(ROOT / "docs" / name) as picture:
        picture.load()
        return [" ".join(line.split()) for line in str(picture.info["Shown"]).split("\n")]


def test_the_picture_of_the_reference_shows_the_texts_of_today(pages: dict[str, str]) -> None:
    page = plain(pages["zelmor.imaging.imageoptions/PngOptions.md"])
    shown = [line for line in words_shown("site_reference.png") if len(line) > 30]
    assert len(shown) >= 4 and [line for line in shown if line not in page] == []


def test_the_picture_of_the_gallery_shows_the_texts_of_today() -> None:
    texts = [(ROOT / "docs" / "site" / "gallery.md"), *(ROOT / "examples" / "gallery").glob("*.py")]
    page = plain(" ".join(path.read_text() for path in texts))
    shown = [line for line in words_shown("site_gallery.png") if len(line) > 20]
    assert len(shown) >= 2 and [line for line in shown if line not in page] == []


def plain(page: str) -> str:
    """A page as its words, without marks and links."""
    return " ".join(re.sub(r"\[([^]]*)\]\([^)]*\)|[`\\\\]", r"\1", page).split())
