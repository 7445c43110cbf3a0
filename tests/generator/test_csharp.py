"""The C# that the writers print: entry points as the wire has them, members by their rules, and hand-written parts."""

from __future__ import annotations

import re
from collections.abc import Callable
from pathlib import Path

import pytest

from tools.generator.builder import load
from tools.generator.entry_points import entry_points
from tools.generator.errors import CatalogueError
from tools.generator.model import Model
from tools.generator.writers.csharp.hosts import write_host
from tools.generator.writers.csharp.implemented import Implemented
from tools.generator.writers.csharp.library import Library
from tools.generator.writers.csharp.services import write_services
from tools.generator.writers.csharp.words import slot_type

Build = Callable[..., Model]
API = Path(__file__).parents[2] / "api" / "catalogue"

CATALOGUE = """
class Base disposable
    ctor ()
    method stop Stop ()
    get width Width int32
class Picture : Base disposable implements IOwner
    ctor (width: int32, mode: Mode)
    ctor (path: string)
    static create_with_mode CreateWithMode (width: int32, mode: Mode) -> Picture
    static is_instance IsInstance (value: object) -> bool because "any value can be asked about"
    method stop Stop ()
    method split Split (packed: int64, x: ref int32, handle: Size) -> int32
    method fill Fill (data: out bytes)
    getset mode Mode Mode
    getset when When datetime?
    get owner Owner IOwner
interface IOwner
    getset name Name string
struct Size
    ctor (width: int32)
    getset width Width int32
enum flags Mode : uint8
    FAST 1
enum Kind : int16
    FIRST_KIND 3
"""


@pytest.fixture
def model(build: Build) -> Model:
    """The model of the catalogue above."""
    return build(CATALOGUE)


def _library(model: Model, directory: Path | None = None) -> str:
    (text,) = Library(model, Implemented(directory)).files().values()
    return "\n".join(text)


def _host(model: Model, name: str) -> str:
    return "\n".join(write_host(next(entry for entry in model.types if entry.name == name), Implemented(None)))


def test_entry_points_have_the_names_order_and_slots_of_the_wire() -> None:
    for entry in load(API).types:
        text = "\n".join(write_host(entry, Implemented(None)))
        found = re.findall(r"public static (\S+) (\w+)\((.*)\)\n", text)
        wanted = [(slot_type(point.returned), point.name, [slot_type(argument.slot) for argument in point.arguments])
                  for point in entry_points(entry)]
        assert [(returned, name, [part.split()[0] for part in arguments.split(", ") if part])
                for returned, name, arguments in found] == wanted
        assert text.count("[UnmanagedCallersOnly]") == len(wanted)
        namespace, _, short = entry.host_class.rpartition(".")
        assert f"namespace {namespace};" in text and f"public static unsafe class {short}\n" in text


def test_elements_that_a_call_changes_go_back_to_the_python_list() -> None:
    entry = next(entry for entry in load(API).types if entry.full_name == "Zelmor.Imaging.Matrix")
    lines = [line.strip() for line in write_host(entry, Implemented(None))]
    at = next(number for number, line in enumerate(lines) if "TransformPoints(pointsValue)" in line)
    assert lines[at - 1].startswith("var pointsValue = Arguments.Array(points, Elements.")
    assert lines[at + 1] == "Arguments.WriteBack(points, pointsValue, Bridge.Module);"


def test_a_list_with_fractions_goes_to_a_later_overload_that_takes_them() -> None:
    entry = next(entry for entry in load(API).types if entry.full_name == "Zelmor.Imaging.Graphics")
    text = "\n".join(write_host(entry, Implemented(None)))
    head = r" (call_\d+_\w+)\([^\n]*\)\n    {\n        try\n        {\n"
    found = set(re.findall(head + r" +var \w+ = Arguments.Array\([^\n]*out var ", text))
    assert found == {"call_000_DrawLines", "call_000_FillRectangles", "call_000_DrawBeziers", "call_011_DrawImage",
                     "call_012_DrawImage", "call_013_DrawImage", "call_014_DrawImage"}


def test_what_a_call_lends_is_released_at_its_end_unless_the_member_may_keep_it(tmp_path: Path) -> None:
    (tmp_path / "a.cs").write_text("""namespace Zelmor.Imaging;
public partial class StreamContainer
{
    [Implements("call_000_Save", Lends = true)]
    [Implements("call_001_Save")]
}
""")
    entry = next(entry for entry in load(API).types if entry.full_name == "Zelmor.Imaging.StreamContainer")
    text = "\n".join(write_host(entry, Implemented(tmp_path)))
    bodies = {name: body for name, body in re.findall(r" (\w+)\([^\n]*\)\n    {\n(.*?)\n    }\n", text, re.DOTALL)}
    keeping = {name: "keeps: true" in body for name, body in bodies.items() if "new Lending(" in body}
    assert keeping["ctor_000_StreamContainer"] and keeping["call_001_Save"]
    assert not keeping["call_000_Save"] and not keeping["call_002_Save"]  # lends by its mark; done by nothing
    assert "finally" in bodies["call_000_Save"] and "lent.Failed();" in bodies["call_001_Save"]
    assert "Lending" not in bodies["call_000_Flush"]


def test_what_is_stored_filled_inherited_and_missing(model: Model) -> None:
    text = _library(model)
    assert "public virtual int Width { get; protected internal set; }" in text
    assert "public Picture(int width, Mode mode)\n{\n    Width = width;\n    Mode = mode;\n}".replace(
        "\n", "\n    ") in text
    assert 'throw Missing.Member("Picture.Picture");' in text
    assert text.count("void Stop()") == 1
    assert "public static Picture? CreateWithMode(int width, Mode mode) => new(width, mode);" in text
    assert "public static bool IsInstance(object? value) => value is Picture;" in text
    assert "public partial class Picture : Base, IOwner" in text and ": System.IDisposable" in text
    assert "string? IOwner.Name" in text
    assert "[System.Flags]\npublic enum Mode : byte\n{\n    Fast = 1,\n}" in text
    assert "public partial struct Size : System.IEquatable<Size>" in text
    assert "public bool Equals(Size other) => Equals(Width, other.Width);" in text


def test_calls_read_their_arguments_and_write_their_results(model: Model) -> None:
    text = _host(model, "Picture")
    assert ("public static int call_000_Split(nint handleSlot, long packed, int x, int* xOut, "
            "VariantArg* handle)") in text
    assert ("var returned = Handles.Get<Acme.Pictures.Picture>(handleSlot).Split(packed, ref xValue, "
            "Arguments.Struct<Acme.Pictures.Size>(handle));") in text
    assert "*xOut = xValue;" in text
    assert ".Fill(Arguments.Memory(data, nameof(data)));" in text
    assert "valuePresent != 0 ? Arguments.DateTime(value) : null;" in text
    assert "return Handles.MakeStruct(new Acme.Pictures.Size(width));" in _host(model, "Size")
    assert "Handles.Unbox<Acme.Pictures.Size>(handle).Width = value;" in _host(model, "Size")


def test_a_class_whose_objects_live_in_the_picture_library_calls_it(model: Model, tmp_path: Path) -> None:
    source = tmp_path / "Classes.cs"
    source.write_text("[assembly: HasPictureLibrary]\n")
    text = _library(model, tmp_path)
    assert "public partial class Base : System.IDisposable, IPictureObject" in text
    assert "public virtual void Dispose() => Pictures.Dispose(this);" in text
    assert "public partial class Picture : Base, IOwner\n" in text
    assert "PictureHandle? IPictureObject.Handle { get; set; }" in text
    assert "public virtual int Width => Pictures.Get<int>(this, PictureCalls.get_Width, []);" in text
    assert ("public Picture(int width, Mode mode) : base(default(NotMade))\n    {\n        Pictures.Make(this, "
            "PictureCalls.ctor_000_Picture, [width, mode]);") in text
    assert 'PictureEntry get_Width = new("Acme.Pictures.Base", "get_Width");' in text
    # A number by reference comes back through its argument; memory to fill is passed as a pointer.
    assert "var arguments = new object?[] { packed, x, handle };" in text and "x = (int)arguments[1]!;" in text
    assert "fixed (byte* dataMemory = data)" in text
    # Members that it has under the names of an interface alone call that interface's entries.
    lines = [line.strip() for line in text.splitlines()]
    start = lines.index("string? IOwner.Name")
    assert lines[start + 2:start + 4] == ["get => Pictures.Get<string?>(this, PictureCalls.IOwner_get_Name, []);",
                                          "set => Pictures.Run(this, PictureCalls.IOwner_set_Name, [value]);"]
    assert 'PictureEntry IOwner_get_Name = new("Acme.Pictures.IOwner", "get_Name");' in text
    # What a call of such a member gets may stay there.
    entry = next(entry for entry in model.types if entry.name == "Picture")
    text = "\n".join(write_host(entry, Implemented(tmp_path)))
    assert "keeps: false" not in text
    # A class with a hand-written part is one of .NET, and those derived from it live in the library all the same.
    (tmp_path / "Base.cs").write_text("namespace Acme.Pictures;\n\npublic partial class Base\n{\n}\n")
    text = _library(model, tmp_path)
    assert "public virtual int Width { get; protected internal set; }" in text
    assert "public partial class Picture : Base, IOwner, IPictureObject\n" in text


def test_a_hand_written_member_takes_the_place_of_the_generated_one(model: Model, tmp_path: Path) -> None:
    source = tmp_path / "parts" / "Picture.cs"
    source.parent.mkdir()
    source.write_text("namespace Acme.Pictures;\n\npublic partial class Picture\n{\n"
                      '    [Implements("get_Mode")]\n    [Implements("call_000_Split")]\n}\n')
    implemented = Implemented(source.parent)
    implemented.check(model)
    text = _library(model, source.parent)
    assert " Split(" not in text and "Mode Mode {" not in text and " Fill(" in text
    source.write_text(source.read_text().replace("call_000_Split", "call_001_Split"))
    with pytest.raises(CatalogueError, match=r"Picture\.cs:6: Acme\.Pictures\.Picture has no entry point call_001_Spl"):
        Implemented(source.parent).check(model)


def test_every_service_class_of_the_wire_is_there() -> None:
    files = write_services(load(API))
    kinds = [re.sub(r"_[0-9A-F]{8}$", "", name.removesuffix(".cs").rpartition(".")[2]) for name in files]
    counts = {kind: kinds.count(kind) for kind in set(kinds)}
    assert counts["SiApiEnumerator"] == 75 and counts["SiApiEnumerable"] == 75  # 74 typed ones, and that of any element
    assert counts["SiApiArray"] == 73 and counts["SiApiList"] == 9
    assert counts["SiApiCntList"] == counts["SiApiCntCollection"] == 4


WORDS = """
Picture: A picture, as `Base` but with a `mode`; no < or & is markup.
  ctor: Makes a picture of `Mode.FAST` kind.
    mode: How it is made, or None.
    path: A file.
    ! RuntimeError: The file is damaged.
    ! TypeError: Told by the bridge alone.
  create_with_mode: Makes one.
    -> The new picture; none of the others.
  split: Splits a number, see `fill()`, `no_such_thing` and True.
    x: The lower half.
  mode: How it is made.
Mode: How pictures are made.
  FAST: In a hurry, see `Picture.split`.
"""


def test_the_class_library_has_the_texts_as_xml_comments(model: Model) -> None:
    (model.directory / "Acme.Pictures.doc").write_text(WORDS)
    text = _library(model)
    lines = [line.strip() for line in text.splitlines()]

    def above(start: str) -> list[str]:
        """The comment of the declaration that begins so."""
        end = next(number for number, line in enumerate(lines) if line.startswith(start))
        first = end
        while lines[first - 1].startswith("///"):
            first -= 1
        return lines[first:end]

    assert above("public partial class Picture") == [
        '/// <summary>A picture, as <see cref="T:Acme.Pictures.Base"/> but with a <c>Mode</c>; no &lt; or &amp;',
        "/// is markup.</summary>"]
    assert above("public Picture(int width, Mode mode)") == [
        "/// <summary>Makes a picture of <c>Mode.Fast</c> kind.</summary>",
        '/// <param name="mode">How it is made, or <see langword="null"/>.</param>',
        '/// <exception cref="T:System.Exception">The file is damaged.</exception>']
    assert above("public static Picture? CreateWithMode")[-1] == (
        "/// <returns>The new picture; none of the others.</returns>")
    assert " ".join(above("public virtual int Split")) == (
        "/// <summary>Splits a number, see <c>Fill()</c>, <c>no_such_thing</c> and <see /// langword=\"true\"/>."
        "</summary> /// <param name=\"x\">The lower half.</param>")
    assert above("public virtual Mode Mode") == ["/// <summary>How it is made.</summary>"]
    assert above("Fast = 1,") == ["/// <summary>In a hurry, see <c>Picture.Split</c>.</summary>"]
