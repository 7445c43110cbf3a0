"""``zelmor.notebook``: what notebooks and terminals show, the documentation of ``?``, completion, and the gallery."""

from __future__ import annotations

import base64
import io
import json
import os
import sys
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor import arrays
from zelmor.imaging import Image, RasterImage

import zelmor
from support.image_oracles import noise, worst, write
from support.package_process import ASSEMBLY, NETCORE, PACKAGE, child
from support.places import ROOT

pytest.importorskip("IPython", reason="IPython is not installed (packages.txt, purpose: notebook)")

from IPython.core.completer import provisionalcompleter  # noqa: E402
from IPython.core.interactiveshell import InteractiveShell  # noqa: E402
from zelmor import notebook  # noqa: E402


@pytest.fixture(scope="module", name="shell")
def shell_fixture(tmp_path_factory: pytest.TempPathFactory) -> Iterator[InteractiveShell]:
    """A shell with the extension; it keeps no history."""
    from traitlets.config import Config

    config = Config()
    config.HistoryManager.enabled = False
    os.environ["IPYTHONDIR"] = str(tmp_path_factory.mktemp("ipython"))
    shell = InteractiveShell(config=config)
    notebook.load_ipython_extension(shell)
    yield shell
    notebook.unload_ipython_extension(shell)
    InteractiveShell.clear_instance()


@pytest.fixture(autouse=True)
def settings(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(notebook, "settings", notebook.Settings())


def shown(shell: InteractiveShell, image: Image) -> dict[str, Any]:
    """What a notebook gets."""
    formatters = shell.display_formatter.formatters
    found = {kind: formatters[kind](image) for kind in ("text/plain", "image/png", "image/jpeg")}
    return {kind: data for kind, data in found.items() if data is not None}


def opened(data: bytes) -> Any:
    return Pillow.open(io.BytesIO(data))


# ---- Pictures


@pytest.mark.parametrize("extension", ["png", "bmp", "tif", "tga", "webp"])
def test_pictures_are_shown_as_png(shell: InteractiveShell, tmp_path: Path, extension: str) -> None:
    options = {"lossless": True} if extension == "webp" else {}
    with zelmor.open(write(tmp_path / f"a.{extension}", noise(), **options)) as image:
        found = shown(shell, image)
        assert found.keys() == {"text/plain", "image/png"}
        picture = opened(found["image/png"])
        assert picture.format == "PNG" and worst(np.asarray(picture).astype(int), noise().astype(int)) == 0
        assert found["text/plain"] == f"<{type(image).__name__}, 61 x 43, 24 bits>"


def test_a_photograph_is_shown_as_jpeg(shell: InteractiveShell, tmp_path: Path) -> None:
    with zelmor.open(write(tmp_path / "a.jpg", noise())) as image:
        found = shown(shell, image)
        assert found.keys() == {"text/plain", "image/jpeg"} and opened(found["image/jpeg"]).format == "JPEG"


def test_inks_are_shown_as_colors(shell: InteractiveShell, tmp_path: Path) -> None:
    Pillow.fromarray(noise(4), "CMYK").save(tmp_path / "a.jpg")
    with zelmor.open(tmp_path / "a.jpg") as image:
        found = shown(shell, image)
        assert found.keys() == {"text/plain", "image/png"} and opened(found["image/png"]).mode == "RGB"


def test_large_pictures_are_reduced_and_stay_as_they_are(shell: InteractiveShell, tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise(3, width=1600, height=200))
    with zelmor.open(path) as image:
        assert opened(shown(shell, image)["image/png"]).size == (1024, 128)
        assert (image.width, image.height) == (1600, 200)
        notebook.settings.largest = 80
        assert opened(shown(shell, image)["image/png"]).size == (80, 10)
        assert (arrays.to_numpy(image) == noise(3, width=1600, height=200)).all()


def animation(path: Path, count: int = 3) -> Path:
    frames = [Pillow.fromarray(noise(3, seed)) for seed in range(count)]
    frames[0].save(path, save_all=True, append_images=frames[1:], duration=80, loop=0)
    return path


@pytest.mark.parametrize("extension", ["gif", "webp", "png"])
def test_animations_move(shell: InteractiveShell, tmp_path: Path, extension: str) -> None:
    with zelmor.open(animation(tmp_path / f"a.{extension}")) as image:
        found = shown(shell, image)
        assert found["text/plain"].endswith(", 3 frames>")
        picture = opened(found["image/png"])
        assert (picture.n_frames, picture.size) == (3, (61, 43))
        assert picture.info["duration"] == 80
        notebook.settings.largest = 30
        picture = opened(shown(shell, image)["image/png"])
        assert (picture.n_frames, picture.size, picture.info["duration"]) == (3, (30, 21), 80)
        assert image.size.width == 61
        notebook.settings.animation = 61 * 43 * 3 - 1
        assert getattr(opened(shown(shell, image)["image/png"]), "n_frames", 1) == 1


def test_pages_do_not_move(shell: InteractiveShell, tmp_path: Path) -> None:
    with zelmor.open(animation(tmp_path / "a.tif")) as image:
        assert getattr(opened(shown(shell, image)["image/png"]), "n_frames", 1) == 1
        page = image.pages[2]  # type: ignore[attr-defined]
        assert type(page) is Image
        assert worst(np.asarray(opened(shown(shell, page)["image/png"])).astype(int), noise(3, 2).astype(int)) == 0
        assert shown(shell, page)["text/plain"] == "<TiffFrame, 61 x 43, 24 bits>"


def test_drawings(shell: InteractiveShell, tmp_path: Path) -> None:
    (tmp_path / "a.svg").write_text('<svg xmlns="http://www.w3.org/2000/svg" width="2048" height="1024">'
                                    '<circle cx="1024" cy="512" r="500" fill="red"/></svg>')
    with zelmor.open(tmp_path / "a.svg") as image:
        found = shown(shell, image)
        picture = opened(found["image/png"])
        assert picture.size == (1024, 512) and picture.mode == "RGBA"
        assert picture.getpixel((512, 256)) == (255, 0, 0, 255) and picture.getpixel((1, 1))[3] == 0
        assert found["text/plain"] == "<SvgImage, 2048 x 1024>" and image.width == 2048


def test_closed_pictures_show_nothing(shell: InteractiveShell, picture: str) -> None:
    with zelmor.open(picture) as image:
        pass
    assert shown(shell, image) == {"text/plain": "<PngImage, closed>"}


def test_a_damaged_picture_says_so(tmp_path: Path) -> None:
    data = Path(write(tmp_path / "a.png", noise())).read_bytes()
    (tmp_path / "a.png").write_bytes(data[:len(data) // 2])
    with zelmor.open(tmp_path / "a.png") as image, pytest.raises(zelmor.DamagedImage):
        notebook.picture(image)


def test_nothing_is_left_behind(shell: InteractiveShell, tmp_path: Path, control: Any) -> None:
    with zelmor.open(animation(tmp_path / "a.gif")) as image:
        shown(shell, image)
        before = control.live()
        shown(shell, image)
        assert control.live() == before


def test_the_extension_is_taken_away_again() -> None:
    code = """
import os, tempfile
os.environ["IPYTHONDIR"] = tempfile.mkdtemp()
from IPython.core.completer import provisionalcompleter  # noqa: E402
from IPython.core.interactiveshell import InteractiveShell
from traitlets.config import Config
config = Config()
config.HistoryManager.enabled = False
shell = InteractiveShell(config=config)
from zelmor import arrays
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PngOptions
image = Image.create(PngOptions(), 2, 2)
png = shell.display_formatter.formatters["image/png"]
shell.push({"Image": Image})
def state():
    return [png(image) is not None, "static method" in shell.object_inspect_text("Image.load")]
result = [state()]
for magic in ("load_ext", "reload_ext", "unload_ext", "load_ext", "unload_ext"):
    shell.run_line_magic(magic, "zelmor.notebook")
    result.append(state())
"""
    on, off = [True, True], [False, False]
    assert child(code) == [off, on, on, off, on, off]


def test_enable_needs_a_shell() -> None:
    code = """
from zelmor import notebook
try:
    notebook.enable()
except RuntimeError as error:
    result = str(error)
"""
    assert child(code) == "zelmor.notebook.enable: this program does not run in IPython or Jupyter"


# ---- Documentation and completion


def test_question_marks(shell: InteractiveShell, picture: str) -> None:
    with zelmor.open(picture) as image:
        shell.push({"Image": Image, "image": image, "zelmor": zelmor, "plain": 5, "RasterImage": RasterImage})
        text = shell.object_inspect_text("Image.load")
        assert "Image.load: static method of zelmor.imaging.Image" in text
        assert "Image.load(file_path: str | None) -> Image" in text and "decoded when they are first needed" in text
        for asked, words in (("image.width", "width: read-only property"), ("image.width", "PngImage.width"),
                             ("image.resize", "resize(new_width: int, new_height: int, resize_type: ResizeType)"),
                             ("RasterImage", "RasterImage: class in zelmor.imaging"),
                             ("zelmor.imaging", "zelmor.imaging: module"),
                             ("zelmor.imaging.RotateFlipType", "ROTATE_90_FLIP_NONE    By 90 degrees.")):
            assert words in shell.object_inspect_text(asked), asked
        assert "zelmor" not in shell.object_inspect_text("plain")
        assert "Opens a picture" in shell.object_inspect_text("zelmor.open")
        shell.reset(new_session=False)


@pytest.mark.parametrize("jedi", [True, False])
def test_completion(shell: InteractiveShell, picture: str, jedi: bool) -> None:
    with zelmor.open(picture) as image:
        shell.push({"Image": Image, "image": image, "zelmor": zelmor})
        shell.Completer.use_jedi = jedi
        for text, words in (("image.res", {"resize", "resize_by_type"}), ("Image.lo", {"load", "load_stream"}),
                            ("zelmor.op", {"open"}), ("zelmor.imaging.RotateFlipType.ROTATE_90_FLIP_N",
                                                      {"ROTATE_90_FLIP_NONE"})):
            with provisionalcompleter():
                found = {completion.text for completion in shell.Completer.completions(text, len(text))}
            assert words <= {name.rpartition(".")[2] for name in found}, (text, found)
        shell.reset(new_session=False)


# ---- The gallery


def test_the_gallery_runs(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    client = pytest.importorskip("nbclient", reason="nbclient is not installed (packages.txt, purpose: notebook)")
    pytest.importorskip("ipykernel", reason="ipykernel is not installed (packages.txt, purpose: notebook)")
    import nbformat

    book = nbformat.read(ROOT / "examples" / "gallery.ipynb", as_version=4)
    assert not any(cell.get("outputs") for cell in book.cells), "the notebook is kept without outputs"
    kernel = tmp_path / "kernels" / "zelmor"
    kernel.mkdir(parents=True)
    (kernel / "kernel.json").write_text(json.dumps(
        {"argv": [sys.executable, "-B", "-m", "ipykernel_launcher", "-f", "{connection_file}"],
         "display_name": "zelmor", "language": "python"}))
    monkeypatch.setenv("JUPYTER_PATH", str(tmp_path))
    monkeypatch.setenv("JUPYTER_RUNTIME_DIR", str(tmp_path / "runtime"))
    monkeypatch.setenv("IPYTHONDIR", str(tmp_path / "ipython"))
    monkeypatch.setenv("PYTHONPATH", str(PACKAGE.parent))
    for name in (NETCORE, ASSEMBLY):
        monkeypatch.delenv(name, raising=False)
    client.NotebookClient(book, timeout=120, kernel_name="zelmor",
                          resources={"metadata": {"path": str(tmp_path)}}).execute()
    results = [output for cell in book.cells if cell.cell_type == "code" for output in cell.outputs]
    assert not [output for output in results if output.output_type in ("error", "stream")], results
    pictures = [opened(base64.b64decode(output.data["image/png"])) for output in results
                if "image/png" in output.get("data", {})]
    assert [(picture.size, getattr(picture, "n_frames", 1)) for picture in pictures] == [
        ((360, 240), 1), ((360, 240), 1), ((360, 240), 1), ((360, 240), 1), ((180, 120), 8), ((360, 200), 1),
        ((300, 200), 1)]
    assert [output.data["text/plain"] for output in results if "image/png" not in output.data] == ["'A gallery'"]
    assert len(set(picture.convert("RGB").tobytes() for picture in pictures)) == len(pictures)
    alpha = np.asarray(pictures[-1])[..., 3]
    assert alpha[100, 150] == 255 and alpha[5, 5] == 0, "the object is cut out"
