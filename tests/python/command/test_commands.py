"""The command: each of its commands, where results go, what is shown, and the exit status."""

from __future__ import annotations

import json
import os
import sys
import types
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor import batch

from support.command import Commands
from support.image_oracles import read


def size(path: str) -> tuple[int, int]:
    with Pillow.open(path) as picture:
        return picture.size


def test_info(zelmor: Commands) -> None:
    told = zelmor("info", "a.jpg", "b.png", "c.gif")
    assert told.status == 0 and told.err == ""
    assert [line.split()[:3] for line in told.out.splitlines()] == [
        ["a.jpg", "jpeg", "60x40"], ["b.png", "png", "30x20"], ["c.gif", "gif", "20x16"]]
    assert "4 pages" in told.out.splitlines()[2] and "alpha" in told.out.splitlines()[1]


def test_info_as_json_with_a_bad_file(zelmor: Commands) -> None:
    told = zelmor("info", "--json", "b.png", "bad.jpg", "none.png")
    assert told.status == 1
    found = {each["path"]: each for each in json.loads(told.out)}
    assert (found["b.png"]["width"], found["b.png"]["alpha"], found["b.png"]["pages"]) == (30, True, 1)
    assert found["none.png"] == {"path": "none.png", "error": "there is no such file"}
    assert found["bad.jpg"]["error"].startswith("the data is of none of the formats")
    assert told.err.splitlines()[-2:] == ["  none.png: there is no such file",
                                          "  bad.jpg: " + found["bad.jpg"]["error"]]


def test_convert_a_file_to_another(zelmor: Commands) -> None:
    told = zelmor("convert", "a.jpg", "new.png")
    assert told.status == 0 and told.err.startswith("a.jpg -> new.png  60x40 -> 60x40, ")
    assert np.array_equal(read("new.png"), read("a.jpg"))


def test_convert_beside_the_input_to_a_folder_and_by_a_pattern(zelmor: Commands) -> None:
    assert zelmor("convert", "a.jpg", "b.png", "--to", "bmp").status == 0
    assert zelmor("convert", "a.jpg", "b.png", "--to", "bmp", "-o", "out/").status == 0
    assert zelmor("convert", "a.jpg", "b.png", "--suffix=-x", "-o", "{stem}_{ext}.tif").status == 0
    for path in ("a.bmp", "b.bmp", "out/a.bmp", "out/b.bmp", "a-x_jpg.tif", "b-x_png.tif"):
        assert os.path.exists(path)
    with Pillow.open("a-x_jpg.tif") as picture:
        assert picture.format == "TIFF"


def test_folders_keep_their_structure(zelmor: Commands) -> None:
    assert zelmor("convert", "in", "--to", "webp", "-o", "flat/").status == 0
    assert sorted(str(path) for path in Path("flat").rglob("*.*")) == ["flat/d.webp"]
    assert zelmor("convert", "-r", "in", "--to", "webp", "-o", "tree/").status == 0
    assert sorted(str(path) for path in Path("tree").rglob("*.*")) == ["tree/d.webp", "tree/deep/e.webp"]
    assert zelmor("convert", "in/**/*.png", "--to", "webp", "-o", "globbed/").status == 0
    assert sorted(os.listdir("globbed")) == ["d.webp", "e.webp"]


def test_standard_input_and_output(zelmor: Commands) -> None:
    picture = Path("b.png").read_bytes()
    told = zelmor.program("convert", "-", "--to", "bmp", "--background", "red", given=picture)
    assert told.returncode == 0, told.stderr
    assert told.stdout.startswith(b"BM") and b"- -> -" in told.stderr
    told = zelmor.program("resize", "-", "--width", 15, "-o", "small.png", given=picture)
    assert told.returncode == 0 and size("small.png") == (15, 10)
    told = zelmor.program("convert", "a.jpg", "-", "--quiet")
    assert told.returncode == 0 and told.stdout.startswith(b"\xff\xd8") and told.stderr == b""
    told = zelmor.program("info", "-", given=b"nothing")
    assert told.returncode == 1 and told.stderr.startswith(b"zelmor: -: the data is")
    assert not list(Path(os.environ.get("TMPDIR", "/tmp")).glob("zelmor-*/stdin"))


def test_resize(zelmor: Commands) -> None:
    assert zelmor("resize", "a.jpg", "--width", 30, "-o", "w.png").status == 0
    assert zelmor("resize", "a.jpg", "--size", "20x20", "--fit", "cover", "-o", "c.png").status == 0
    assert zelmor("resize", "a.jpg", "--scale", "2", "--no-enlarge", "--kernel", "mitchell", "-o", "n.png").status == 0
    assert [size(path) for path in ("w.png", "c.png", "n.png")] == [(30, 20), (20, 20), (60, 40)]
    told = zelmor("resize", "a.jpg", "--kernel", "soft", "--width", 5, "-o", "x.png")
    assert told.status == 1 and "unknown kernel 'soft'; there are none, " in told.err


def test_thumbnail_turns_the_picture_upright(zelmor: Commands) -> None:
    with Pillow.open("a.jpg") as picture:
        exif = picture.getexif()
        exif[0x0112] = 6
        picture.save("turned.jpg", exif=exif)
    assert zelmor("thumbnail", "turned.jpg", "--size", "30", "--to", "png").status == 0
    assert size("turned-thumbnail.png") == (20, 30)
    assert zelmor("thumbnail", "turned.jpg", "--size", "30", "-o", "t/", "--no-orient", "--strip").status == 0
    assert size("t/turned.jpg") == (30, 20)
    with Pillow.open("t/turned.jpg") as picture:
        assert not picture.getexif()


def test_rotate(zelmor: Commands) -> None:
    before = read("b.png")
    assert zelmor("rotate", "b.png", "--angle", 90, "--flip", "horizontal", "--in-place").status == 0
    assert np.array_equal(read("b.png"), np.rot90(before[:, ::-1], -1))
    assert zelmor("rotate", "a.jpg", "--angle", 30, "--background", "white", "-o", "r.png").status == 0
    assert size("r.png")[0] > 60 and read("r.png")[0, 0].tolist() == [255, 255, 255]
    assert zelmor("rotate", "a.jpg", "-o", "x.png").status == 2


def test_adjust_and_options_of_the_format(zelmor: Commands) -> None:
    assert zelmor("adjust", "a.jpg", "--threshold", "otsu", "--color-type", "grayscale", "--bits", 1,
                  "-O", "filter_type=NONE", "-o", "bw.png").status == 0
    with Pillow.open("bw.png") as picture:
        assert picture.mode == "1"
    assert zelmor("adjust", "a.jpg", "--brightness", 30, "--dpi", "200x100", "-o", "bright.jpg").status == 0
    assert read("bright.jpg").mean() > read("a.jpg").mean() + 20
    with Pillow.open("bright.jpg") as picture:
        assert picture.info["dpi"] == (200, 100)
    told = zelmor("adjust", "a.jpg", "--brightness", 3, "-O", "color_type=BLUE", "-o", "x.png")
    assert told.status == 1 and "'BLUE' is no value of PngOptions.color_type (one of GRAYSCALE, " in told.err


def test_quality_makes_files_smaller(zelmor: Commands) -> None:
    for to in ("jpeg", "webp"):
        for quality in (10, 90):
            assert zelmor("convert", "a.jpg", "--to", to, "--quality", quality, f"--suffix=-{quality}").status == 0
    assert os.path.getsize("a-10.jpg") < os.path.getsize("a-90.jpg")
    assert os.path.getsize("a-10.webp") < os.path.getsize("a-90.webp")


def test_frames_are_split_and_joined(zelmor: Commands) -> None:
    assert zelmor("frames", "c.gif", "-o", "f/").status == 0
    assert sorted(os.listdir("f")) == [f"c-00{number}.png" for number in range(1, 5)]
    for name in ("joined.gif", "joined.webp", "joined.apng", "joined.tif", "joined.pdf"):
        told = zelmor("frames", "--join", "f", "--duration", 80, "-o", name)
        assert told.status == 0, told.err
        if not name.endswith("pdf"):
            with Pillow.open(name) as picture:
                assert picture.n_frames == 4 and picture.info.get("duration", 80) == 80
    assert zelmor("pages", "joined.tif", "--pages", "2,4", "-o", "p{number}.bmp").status == 0
    assert os.path.exists("p2.bmp") and os.path.exists("p4.bmp") and not os.path.exists("p1.bmp")
    assert zelmor("pages", "joined.tif", "-o", "one.png").status == 2
    assert zelmor("pages", "--join", "f", "none.png", "-o", "x.tif").status == 2


def test_metadata(zelmor: Commands) -> None:
    told = zelmor("metadata", "a.jpg", "--set", "Artist=A. Person", "--set", "dc:title=Evening", "--set",
                  "comment=made", "--in-place")
    assert told.status == 0, told.err
    with Pillow.open("a.jpg") as picture:
        assert picture.getexif()[0x013B] == "A. Person" and picture.info["comment"] == b"made"
    shown = zelmor("metadata", "a.jpg").out
    assert shown == "a.jpg:\n  artist: A. Person\n  dc:title: Evening\n  comment: made\n"
    found, = json.loads(zelmor("metadata", "a.jpg", "--json").out)
    assert found["exif"] == {"artist": "A. Person"} and found["xmp"] == {"dc:title": "Evening"}
    assert zelmor("metadata", "a.jpg", "--remove", "artist", "-o", "less.jpg").status == 0
    assert "artist" not in zelmor("metadata", "less.jpg").out
    assert zelmor("metadata", "a.jpg", "--strip", "-o", "clean.jpg").status == 0
    assert zelmor("metadata", "clean.jpg").out == "clean.jpg:\n"
    told = zelmor("metadata", "a.jpg", "--set", "nothing=1", "-o", "x.jpg")
    assert told.status == 1 and "EXIF data have no 'nothing'; they have aperture_value, " in told.err


def test_sheet(zelmor: Commands) -> None:
    told = zelmor("sheet", "a.jpg", "bad.jpg", "in", "-o", "sheet.png", "--columns", 2, "--cell", "64x48", "--gap", 8,
                  "--background", "#204060")
    assert told.status == 1 and "  bad.jpg: the data is" in told.err
    pixels = read("sheet.png", "RGB")
    assert pixels.shape == (8 + 48 + 18 + 8, 3 * 8 + 2 * 64, 3) and pixels[0, 0].tolist() == [0x20, 0x40, 0x60]
    assert np.abs(pixels[12:52, 10:70].astype(int) - read("a.jpg").astype(int)).max() <= 2
    assert sorted(name for name in os.listdir() if name.startswith("sheet")) == ["sheet.png"]


def test_compare(zelmor: Commands) -> None:
    assert zelmor("convert", "a.jpg", "same.png").status == 0
    assert zelmor("convert", "a.jpg", "near.jpg", "--quality", 90).status == 0
    told = zelmor("compare", "a.jpg", "same.png")
    assert (told.status, told.out) == (0, "the same\n")
    told = zelmor("compare", "a.jpg", "near.jpg")
    assert told.status == 1 and "of the pixels differ" in told.out
    assert zelmor("compare", "a.jpg", "near.jpg", "--tolerance", 60, "--quiet").status == 0
    told = zelmor("compare", "a.jpg", "b.png")
    assert (told.status, told.out) == (1, "the sizes differ: 60x40 and 30x20\n")
    assert zelmor("compare", "a.jpg", "bad.jpg").status == 2
    assert zelmor("compare", "a.jpg", "none.jpg").status == 2
    assert json.loads(zelmor("compare", "a.jpg", "a.jpg", "--json").out)["same"] is True


def test_formats(zelmor: Commands) -> None:
    assert "tiff      yes   yes      yes    tif tiff" in zelmor("formats").out
    assert any(each["name"] == "djvu" and not each["written"] for each in json.loads(zelmor("formats", "--json").out))
    told = zelmor("formats", "tiff")
    assert "compression                        one of NONE, " in told.out
    listed = {each["name"]: each for each in json.loads(zelmor("formats", "jpg", "--json").out)}
    assert listed["quality"]["default"] == 75 and listed["quality"]["type"] == "Int32"
    assert zelmor("formats", "djvu").status == 2 and zelmor("formats", "nothing").status == 2


def test_doc(zelmor: Commands, monkeypatch: pytest.MonkeyPatch) -> None:
    made = types.ModuleType("zelmor.documentation")
    vars(made)["text"] = {"Image.load": "Loads."}.__getitem__
    monkeypatch.setitem(sys.modules, "zelmor.documentation", made)
    told = zelmor("doc", "Image.load")
    assert (told.status, told.out) == (0, "Loads.\n")
    told = zelmor("doc", "Nothing")
    assert (told.status, told.err) == (1, "zelmor: Nothing\n")
    monkeypatch.setitem(sys.modules, "zelmor.documentation", None)
    told = zelmor("doc", "Image")
    assert told.status == 1 and "this installation has no reference" in told.err


def test_a_bad_file_does_not_stop_the_rest(zelmor: Commands) -> None:
    told = zelmor("convert", "bad.jpg", "a.jpg", "none.png", "b.png", "--to", "bmp", "-o", "out/")
    assert told.status == 1 and sorted(os.listdir("out")) == ["a.bmp", "b.bmp"]
    lines = told.err.splitlines()
    assert lines[-3:-1] == ["zelmor: failed:", "  none.png: there is no such file"]
    assert lines[-1].startswith("  bad.jpg: the data is") and "2 done, 0 skipped, 2 failed" in lines[-4]


def test_nothing_is_overwritten_unasked(zelmor: Commands) -> None:
    before = Path("b.png").read_bytes()
    told = zelmor("convert", "a.jpg", "b.png")
    assert told.status == 1 and told.err == "zelmor: a.jpg: b.png exists\n"
    assert Path("b.png").read_bytes() == before
    assert zelmor("convert", "a.jpg", "b.png", "--overwrite").status == 0
    assert np.array_equal(read("b.png"), read("a.jpg"))
    told = zelmor("resize", "a.jpg", "--width", 5)
    assert told.status == 1 and "the result would replace the input" in told.err and size("a.jpg") == (60, 40)
    assert zelmor("resize", "a.jpg", "--width", 5, "--in-place").status == 0 and size("a.jpg")[0] == 5


def test_a_dry_run_does_nothing(zelmor: Commands) -> None:
    before = sorted(Path().rglob("*"))
    told = zelmor("convert", "a.jpg", "b.png", "none.png", "in", "--to", "png", "-o", "out/", "--dry-run")
    assert told.status == 1 and told.out.splitlines() == [
        "none.png: there is no such file", "a.jpg -> out/a.png", "b.png -> out/b.png", "in/d.png -> out/d.png"]
    planned = json.loads(zelmor("convert", "a.jpg", "b.png", "--dry-run", "--json").out)
    assert planned == [{"sources": ["a.jpg"], "target": "b.png", "problem": "it exists; --overwrite replaces it"}]
    assert sorted(Path().rglob("*")) == before


def test_json_of_work(zelmor: Commands) -> None:
    told = zelmor("convert", "a.jpg", "bad.jpg", "--to", "png", "--json", "--quiet")
    found = json.loads(told.out)
    assert (told.status, found["done"], found["failed"]) == (1, 1, 1)
    assert found["jobs"][0]["results"] == [{"path": "a.png", "bytes": os.path.getsize("a.png")}]
    assert found["jobs"][0]["details"] == {"before": "60x40", "after": "60x40"}


def test_a_cluster_that_is_not_there(zelmor: Commands) -> None:
    pytest.importorskip("distributed", reason="python3-distributed is not installed")
    import dask

    with dask.config.set({"distributed.comm.timeouts.connect": "0.5s"}):
        told = zelmor("convert", "a.jpg", "--to", "png", "--cluster", "tcp://127.0.0.1:9")
    assert told.status == 2 and "there is no cluster at tcp://127.0.0.1:9" in told.err


def test_a_cluster_that_is_lost(zelmor: Commands, monkeypatch: pytest.MonkeyPatch) -> None:
    """It is no mistake in the arguments."""
    def run(*arguments: object, **options: object) -> batch.Report:
        raise batch.ClusterLost("the connection to the cluster at tcp://a:1 is lost")

    monkeypatch.setattr(batch, "run", run)
    told = zelmor("convert", "a.jpg", "--to", "png", "--cluster", "tcp://a:1")
    assert told.status == 1 and told.err == "zelmor: the connection to the cluster at tcp://a:1 is lost\n"


def test_a_journal_skips_what_is_done(zelmor: Commands) -> None:
    arguments = ("convert", "a.jpg", "b.png", "--to", "bmp", "--journal", "journal")
    assert "2 done, 0 skipped" in zelmor(*arguments).err
    told = zelmor(*arguments)
    assert told.status == 0 and "0 done, 2 skipped" in told.err and "a.jpg: done before" in told.err


@pytest.mark.parametrize(("arguments", "message"), [
    (["convert", "a.jpg"], "convert to what?"),
    (["convert", "a.jpg", "b.png", "c.gif", "-o", "x.png"], "3 inputs and one file for the results"),
    (["convert", "a.jpg", "--to", "word"], "unknown format 'word'"),
    (["convert", "a.jpg", "--to", "djvu"], "can only be read"),
    (["convert", "a.jpg", "--to", "png", "-O", "quality"], "'quality' is not NAME=VALUE"),
    (["convert", "a.jpg", "--to", "png", "--in-place"], "--in-place goes with no other place"),
    (["convert", "a.jpg", "--to", "png", "--jobs", "0"], "'0' is no number above 0"),
    (["convert", "a.jpg", "--to", "png", "--journal", "bad.jpg"], "is no line of a journal"),
    (["convert", "a.jpg", "--to", "png", "--journal", "none/journal"], "the journal cannot be used: "),
    (["convert", "a.jpg", "--to", "png", "--jobs", "2", "--cluster", "tcp://a:1"], "the work is done elsewhere"),
    (["resize", "a.jpg", "-o", "x.png"], "needs a width"),
    (["resize", "a.jpg", "--size", "5x0", "-o", "x.png"], "'5x0' is no size"),
    (["resize", "a.jpg", "--size", "5", "--width", "5", "-o", "x.png"], "--size has both sides"),
    (["adjust", "a.jpg", "-o", "x.png"], "nothing to adjust"),
    (["frames", "c.gif", "--duration", "5"], "go with --join"),
    (["frames", "--join", "a.jpg"], "name it with --output"),
    (["metadata", "a.jpg", "-o", "x.jpg"], "nothing to change"),
    (["sheet", "a.jpg"], "name the sheet"),
    (["nothing"], "invalid choice: 'nothing'"),
])
def test_wrong_arguments(zelmor: Commands, arguments: list[str], message: str) -> None:
    before = sorted(Path().rglob("*"))
    told = zelmor(*arguments)
    assert told.status == 2 and message in told.err and "usage: zelmor" in told.err
    assert sorted(Path().rglob("*")) == before
