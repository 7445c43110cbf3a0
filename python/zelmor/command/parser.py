"""The arguments of the command. Help, completion and the manual page are made of this parser."""

from __future__ import annotations

import argparse
import re
import sys
from collections.abc import Callable, Sequence
from importlib import import_module
from typing import Any

from zelmor.batch.formats import FORMATS
from zelmor.command.errors import EndedError, UsageError

#: What a command does, with its arguments; returns the exit status.
Action = Callable[[argparse.Namespace], int]

WRITTEN = sorted(name for name, format in FORMATS.items() if format.options)


def _later(name: str) -> Action:
    """A function of zelmor.command.actions, which is imported when it is called."""
    def act(arguments: argparse.Namespace) -> int:
        try:
            status: int = getattr(import_module("zelmor.command.actions"), name)(arguments)
        except UsageError as error:
            arguments.parser.error(str(error))
        except EndedError as error:
            print(f"zelmor: {error}", file=sys.stderr)
            return 1
        return status
    return act


def _size(text: str) -> tuple[int, int]:
    match = re.fullmatch(r"(\d+)(?:x(\d+))?", text)
    if match is None or 0 in (side := (int(match[1]), int(match[2] or match[1]))):
        raise argparse.ArgumentTypeError(f"{text!r} is no size, such as 800x600 or 256")
    return side


def _rectangle(text: str) -> tuple[int, int, int, int]:
    match = re.fullmatch(r"(\d+)x(\d+)\+(\d+)\+(\d+)", text)
    if match is None:
        raise argparse.ArgumentTypeError(f"{text!r} is no part of a picture: WIDTHxHEIGHT+LEFT+TOP")
    return int(match[3]), int(match[4]), int(match[1]), int(match[2])


def _resolution(text: str) -> tuple[float, float]:
    match = re.fullmatch(r"(\d+(?:\.\d+)?)(?:x(\d+(?:\.\d+)?))?", text)
    if match is None:
        raise argparse.ArgumentTypeError(f"{text!r} is no resolution, such as 300 or 300x200")
    return float(match[1]), float(match[2] or match[1])


def _setting(text: str) -> tuple[str, str]:
    name, equals, value = text.partition("=")
    if not equals or not name:
        raise argparse.ArgumentTypeError(f"{text!r} is not NAME=VALUE")
    return name, value


def _count(text: str) -> int:
    if not text.isdecimal() or int(text) < 1:
        raise argparse.ArgumentTypeError(f"{text!r} is no number above 0")
    return int(text)


def make_parser() -> argparse.ArgumentParser:
    """The parser of the whole command."""
    parser = argparse.ArgumentParser(
        prog="zelmor", description="Show, convert and change pictures, many at a time.", allow_abbrev=False,
        formatter_class=argparse.RawDescriptionHelpFormatter,
        epilog="examples:\n"
               "  zelmor info *.jpg\n"
               "  zelmor convert photo.png photo.webp --quality 80\n"
               "  zelmor thumbnail -r pictures/ -o thumbnails/ --size 256 --jobs 4\n"
               "  cat scan.tif | zelmor convert - --to png > scan.png\n\n"
               "zelmor COMMAND --help tells more of a command.")
    parser.add_argument("--version", action=_Version, nargs=0, help="show the version and exit")
    parser.add_argument("--completion", action=_Completion, choices=("bash", "zsh", "fish"),
                        help="print a script that completes the command in this shell, and exit")
    parser.add_argument("--manual", action=_Manual, nargs=0, help="print the manual page for man, and exit")
    commands = parser.add_subparsers(title="commands", metavar="COMMAND", required=True)
    for make in (_info, _convert, _resize, _thumbnail, _rotate, _adjust, _frames, _pages, _metadata, _sheet, _compare,
                 _formats, _doc):
        make(commands)
    return parser


def _add(commands: Any, name: str, action: str, text: str, examples: Sequence[str],
         more: str = "") -> argparse.ArgumentParser:
    added: argparse.ArgumentParser = commands.add_parser(
        name, help=text[0].lower() + text[1:].split(".")[0], allow_abbrev=False,
        description=text + ("\n\n" + more if more else ""), formatter_class=argparse.RawDescriptionHelpFormatter,
        epilog="examples:\n" + "\n".join(f"  {example}" for example in examples))
    added.set_defaults(act=_later(action), parser=added, command=name)
    return added


def _take_inputs(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("inputs", nargs="+", metavar="INPUT",
                        help="files, folders, patterns such as 'in/*.tif', or - for standard input")
    parser.add_argument("-r", "--recursive", action="store_true", help="go into the folders of folders")


def _take_running(parser: argparse.ArgumentParser, *, writes: bool) -> None:
    group = parser.add_argument_group("running")
    group.add_argument("-j", "--jobs", type=_count, metavar="N",
                       help="work with N processes (without it: one for each processor)")
    group.add_argument("--cluster", default="", metavar="ADDRESS",
                       help="work on a Dask cluster, such as tcp://scheduler:8786")
    if writes:
        group.add_argument("--journal", default="", metavar="FILE",
                           help="note in this file what is done, and skip what an earlier run with it did")
        group.add_argument("-n", "--dry-run", action="store_true", help="say what would be done, and do nothing")
    group.add_argument("--json", action="store_true", help="print the results as JSON to standard output")
    group.add_argument("--quiet", action="store_true", help="show errors only")


def _take_output(parser: argparse.ArgumentParser, *, in_place: bool = True, suffix: str = "") -> None:
    group = parser.add_argument_group("results")
    group.add_argument("-o", "--output", metavar="PLACE",
                       help="a file, a folder (with a / at its end if it does not exist yet), - for standard output, "
                            "or a pattern of {stem}, {ext}, {folder} and {number}; without it, beside the input")
    group.add_argument("--to", metavar="FORMAT", help=f"the format: {', '.join(WRITTEN)}")
    group.add_argument("--suffix", metavar="TEXT", help="put TEXT between name and extension" + suffix)
    group.add_argument("--overwrite", action="store_true", help="replace files that exist")
    if in_place:
        group.add_argument("--in-place", action="store_true", help="replace each input by its result")


def _take_saving(parser: argparse.ArgumentParser) -> None:
    group = parser.add_argument_group("saving")
    group.add_argument("--quality", metavar="N", help="from 1 to 100; WebP files become lossy by it")
    group.add_argument("--compression", metavar="C",
                       help="as the format has it: a level (PNG), LZW or ADOBE_DEFLATE (TIFF), PROGRESSIVE (JPEG), ...")
    group.add_argument("--color-type", metavar="TYPE", help="as the format has it: GRAYSCALE, TRUECOLOR, CMYK, ...")
    group.add_argument("--bits", metavar="N", help="bits for a channel or a pixel, as the format counts them")
    group.add_argument("--lossless", action="store_const", const="true", help="lose nothing (WebP)")
    group.add_argument("--interlaced", action="store_const", const="true", help="in rows that are not in order "
                       "(PNG, GIF)")
    group.add_argument("-O", "--option", action="append", default=[], type=_setting, metavar="NAME=VALUE",
                       help="any property of the options of the format, such as filter_type=PAETH; "
                            "'zelmor formats png' lists them")
    group.add_argument("--load-option", action="append", default=[], type=_setting, metavar="NAME=VALUE",
                       help="a property of the options that files are loaded with, such as "
                            "data_recovery_mode=MAXIMAL_RECOVER")


def _take_changes(parser: argparse.ArgumentParser, *, background: bool = True, orient: bool = False) -> None:
    group = parser.add_argument_group("the picture")
    if orient:
        group.add_argument("--no-orient", dest="orient", action="store_false",
                           help="do not turn the picture upright by its EXIF orientation")
    else:
        group.add_argument("--orient", action="store_true", help="turn the picture upright by its EXIF orientation")
    group.add_argument("--crop", type=_rectangle, metavar="WxH+X+Y", help="take this part of the picture first")
    if background:
        group.add_argument("--background", metavar="COLOR",
                           help="put the picture on this color, a name or #RRGGBB, so that nothing is transparent")
    group.add_argument("--dpi", type=_resolution, metavar="N", help="set the resolution, in dots per inch")
    group.add_argument("--strip", action="store_true", help="remove all metadata")
    group.add_argument("--pages", default="", metavar="LIST", help="only these frames or pages, such as 1,3-5 or 2-")


def _take_all(parser: argparse.ArgumentParser, *, suffix: str = "", background: bool = True,
              orient: bool = False) -> None:
    _take_changes(parser, background=background, orient=orient)
    _take_output(parser, suffix=suffix)
    _take_saving(parser)
    _take_running(parser, writes=True)


def _info(commands: Any) -> None:
    parser = _add(commands, "info", "info", "Show what files hold: format, size, pixels, pages, resolution.", [
        "zelmor info *.jpg", "zelmor info -r pictures/ --json"])
    _take_inputs(parser)
    _take_running(parser, writes=False)


def _convert(commands: Any) -> None:
    parser = _add(commands, "convert", "convert", "Save pictures in another format.", [
        "zelmor convert photo.png photo.webp --quality 80",
        "zelmor convert *.tif --to png -o png/",
        "zelmor convert -r scans/ --to jpeg --quality 90 -o out/ --journal out.journal",
        "zelmor convert drawing.svg --to png --background white",
        "zelmor convert photo.jpg -o '{stem}-best.webp' -O lossless=true",
        "curl -s https://example.org/a.gif | zelmor convert - --to apng > a.png"],
        "With two files, the first one is converted to the second one.")
    _take_inputs(parser)
    _take_all(parser)


def _resize(commands: Any) -> None:
    parser = _add(commands, "resize", "resize", "Change the size of pictures.", [
        "zelmor resize photo.jpg --width 800 -o small.jpg",
        "zelmor resize *.png --scale 0.5 --suffix=-half",
        "zelmor resize *.jpg --size 400x400 --fit cover -o square/"],
        "With one side, the other follows from the proportions.")
    _take_inputs(parser)
    group = parser.add_argument_group("size")
    group.add_argument("--width", type=_count, metavar="N", help="the new width in pixels")
    group.add_argument("--height", type=_count, metavar="N", help="the new height in pixels")
    group.add_argument("--size", type=_size, metavar="WxH", help="both")
    group.add_argument("--scale", type=float, metavar="F", help="a factor for both")
    group.add_argument("--fit", choices=("inside", "cover", "exact"), default="inside",
                       help="with both sides: keep the proportions and fit inside (the default), fill them and cut off "
                            "the rest, or change the proportions")
    group.add_argument("--kernel", default="lanczos", metavar="NAME",
                       help="how pixels are mixed: lanczos, catmull_rom, mitchell, bilinear, bell, ...")
    group.add_argument("--no-enlarge", dest="enlarge", action="store_false", help="leave smaller pictures as they are")
    _take_all(parser)


def _thumbnail(commands: Any) -> None:
    parser = _add(commands, "thumbnail", "thumbnail", "Make small pictures, upright.", [
        "zelmor thumbnail *.jpg -o thumbnails/", "zelmor thumbnail -r photos/ --size 320x240 --to webp --quality 75"])
    _take_inputs(parser)
    parser.add_argument("--size", type=_size, default=(256, 256), metavar="WxH",
                        help="the room to fit in (without it: 256)")
    _take_all(parser, suffix=" (beside the inputs: -thumbnail)", orient=True)


def _rotate(commands: Any) -> None:
    parser = _add(commands, "rotate", "rotate", "Turn and mirror pictures.", [
        "zelmor rotate photo.jpg --angle 90 --in-place", "zelmor rotate scan.png --deskew -o straight.png",
        "zelmor rotate *.jpg --flip horizontal --suffix=-mirrored", "zelmor rotate *.jpg --orient -o upright/"])
    _take_inputs(parser)
    group = parser.add_argument_group("turning")
    group.add_argument("--angle", type=float, default=0.0, metavar="DEGREES", help="turn clockwise")
    group.add_argument("--flip", choices=("horizontal", "vertical"), help="mirror")
    group.add_argument("--deskew", action="store_true", help="turn a scanned page until its lines are level")
    group.add_argument("--keep-size", action="store_true", help="cut off corners instead of making the picture larger")
    group.add_argument("--background", default="transparent", metavar="COLOR",
                       help="what is seen in the corners (without it: nothing, or black without transparency)")
    _take_all(parser, background=False)


def _adjust(commands: Any) -> None:
    parser = _add(commands, "adjust", "adjust", "Change tones and sharpness of pictures.", [
        "zelmor adjust photo.jpg --brightness 20 --contrast 10 -o better.jpg",
        "zelmor adjust scans/*.tif --threshold otsu --compression CCITT_FAX4 --bits 1 -o fax/",
        "zelmor adjust photo.jpg --grayscale --sharpen 2 --in-place"])
    _take_inputs(parser)
    group = parser.add_argument_group("tones")
    group.add_argument("--grayscale", action="store_true", help="without colors")
    group.add_argument("--brightness", type=int, default=0, metavar="N", help="from -255 to 255")
    group.add_argument("--contrast", type=float, default=0.0, metavar="N", help="from -100 to 100")
    group.add_argument("--gamma", type=float, default=1.0, metavar="F", help="above 1 is brighter")
    group.add_argument("--threshold", default="", metavar="T", help="black and white: otsu, bradley or 0 to 255")
    group.add_argument("--dither", type=_count, metavar="BITS", help="2 to the power of BITS colors, by diffusion")
    group = parser.add_argument_group("sharpness")
    group.add_argument("--blur", type=_count, default=0, metavar="RADIUS", help="blur")
    group.add_argument("--sharpen", type=_count, default=0, metavar="RADIUS", help="sharpen")
    group.add_argument("--median", type=_count, default=0, metavar="SIZE", help="remove specks, by a median")
    _take_all(parser)


def _take_parts(parser: argparse.ArgumentParser, what: str) -> None:
    _take_inputs(parser)
    parser.add_argument("--join", action="store_true", help=f"make one file of the inputs, which become its {what}")
    parser.add_argument("--duration", type=_count, default=0, metavar="MS",
                        help="with --join: how long a frame is seen, in milliseconds")
    parser.add_argument("--loops", type=_count, default=0, metavar="N", help="with --join: how often it is shown")
    parser.add_argument("--pages", default="", metavar="LIST", help=f"only these {what}, such as 1,3-5 or 2-")
    _take_output(parser, in_place=False)
    _take_saving(parser)
    _take_running(parser, writes=True)


def _frames(commands: Any) -> None:
    _take_parts(_add(commands, "frames", "parts", "Split animations into their frames, or join pictures to one.", [
        "zelmor frames cat.gif -o frames/", "zelmor frames cat.gif --pages 2-4 -o 'cat-{number:04}.webp'",
        "zelmor frames --join frames/*.png --duration 80 -o cat.gif"]), "frames")


def _pages(commands: Any) -> None:
    _take_parts(_add(commands, "pages", "parts", "Split documents into their pages, or join pictures to one.", [
        "zelmor pages scan.tif --to png", "zelmor pages drawing.odg -o 'page-{number}.svg'",
        "zelmor pages --join page-*.png -o book.pdf"]), "pages")


def _metadata(commands: Any) -> None:
    parser = _add(commands, "metadata", "metadata", "Show EXIF, XMP and comments, or change them.", [
        "zelmor metadata photo.jpg", "zelmor metadata *.jpg --strip -o clean/",
        "zelmor metadata photo.jpg --set artist='A. Person' --set dc:title=Evening --in-place"],
        "A name is a property of the EXIF data (artist, date_time_original), comment, or an XMP property with its "
        "prefix\n(dc:title). A JPEG file is encoded anew when its metadata change.")
    _take_inputs(parser)
    group = parser.add_argument_group("changes")
    group.add_argument("--set", action="append", default=[], type=_setting, metavar="NAME=VALUE", help="set a value")
    group.add_argument("--remove", action="append", default=[], metavar="NAME", help="remove a value")
    group.add_argument("--strip", action="store_true", help="remove all metadata first")
    _take_output(parser)
    _take_saving(parser)
    _take_running(parser, writes=True)


def _sheet(commands: Any) -> None:
    parser = _add(commands, "sheet", "sheet", "Put small pictures with their names on one sheet.", [
        "zelmor sheet *.jpg -o sheet.png", "zelmor sheet -r photos/ --columns 6 --cell 200x150 -o sheet.jpg"])
    _take_inputs(parser)
    group = parser.add_argument_group("layout")
    group.add_argument("--columns", type=_count, default=4, metavar="N", help="pictures in a row (without it: 4)")
    group.add_argument("--cell", type=_size, default=(240, 180), metavar="WxH", help="the room for a picture")
    group.add_argument("--gap", type=_count, default=12, metavar="N", help="pixels between pictures")
    group.add_argument("--no-captions", dest="captions", action="store_false", help="without names")
    group.add_argument("--background", default="white", metavar="COLOR", help="the color of the sheet")
    group.add_argument("--color", default="black", metavar="COLOR", help="the color of the names")
    _take_output(parser, in_place=False)
    _take_saving(parser)
    _take_running(parser, writes=True)


def _compare(commands: Any) -> None:
    parser = _add(commands, "compare", "compare", "Tell how much the pixels of two pictures differ.", [
        "zelmor compare before.png after.png", "zelmor compare a.jpg b.webp --tolerance 8 --quiet && echo alike"],
        "The exit status is 0 if they are the same, 1 if they differ, 2 if one cannot be read.")
    parser.add_argument("first", metavar="FIRST", help="a picture")
    parser.add_argument("second", metavar="SECOND", help="another one")
    parser.add_argument("--tolerance", type=int, default=0, metavar="N",
                        help="the greatest difference of a sample that counts as the same, from 0 to 255")
    _take_running(parser, writes=False)


def _formats(commands: Any) -> None:
    parser = _add(commands, "formats", "formats", "List the formats, or the options of one.", [
        "zelmor formats", "zelmor formats tiff"])
    parser.add_argument("format", nargs="?", metavar="FORMAT", help="a format whose options are listed")
    parser.add_argument("--json", action="store_true", help="print as JSON")


def _doc(commands: Any) -> None:
    parser = _add(commands, "doc", "doc", "Show what the reference says of a type or member of the library.", [
        "zelmor doc Image.load", "zelmor doc PngOptions"])
    parser.add_argument("name", metavar="NAME", help="such as Image, Image.load or PngOptions.compression_level")


class _Version(argparse.Action):
    def __call__(self, parser: argparse.ArgumentParser, *rest: object) -> None:
        from zelmor.batch.version import VERSION

        print(f"zelmor {VERSION}")
        parser.exit()


class _Completion(argparse.Action):
    def __call__(self, parser: argparse.ArgumentParser, namespace: argparse.Namespace, values: Any,
                 option: str | None = None) -> None:
        from zelmor.command.completion import script

        print(script(parser, values), end="")
        parser.exit()


class _Manual(argparse.Action):
    def __call__(self, parser: argparse.ArgumentParser, *rest: object) -> None:
        from zelmor.command.manual import page

        print(page(parser), end="")
        parser.exit()
