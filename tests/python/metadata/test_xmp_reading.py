"""XMP as it is read from a file: each form of RDF, and which values become objects of which classes.

The packets are written out here by the published model of XMP, so that nothing of what is read was written by the
library itself.
"""

from __future__ import annotations

import datetime
import functools
import xml.etree.ElementTree as ElementTree
from typing import Any

import pytest
from zelmor.imaging.xmp import LangAlt, Namespaces, XmpArray
from zelmor.imaging.xmp.schemas.photoshop import Layer
from zelmor.imaging.xmp.schemas.xmpbaseschema import XmpBasicPackage
from zelmor.imaging.xmp.schemas.xmpdm import ProjectLink, ProjectType, Time, Timecode, TimeFormat
from zelmor.imaging.xmp.types.complex import ComplexTypeBase
from zelmor.imaging.xmp.types.complex.colorant import ColorantCmyk, ColorantLab, ColorantRgb, ColorMode, ColorType
from zelmor.imaging.xmp.types.complex.dimensions import Dimensions
from zelmor.imaging.xmp.types.complex.font import Font
from zelmor.imaging.xmp.types.complex.resourceevent import ResourceEvent
from zelmor.imaging.xmp.types.complex.resourceref import ResourceRef
from zelmor.imaging.xmp.types.complex.thumbnail import Thumbnail
from zelmor.imaging.xmp.types.complex.version import Version

from support.image_oracles import managed_error
from support.metadata_files import XMP_MARK, encoded, loaded, saved, segment, with_segments

RDF = "http://www.w3.org/1999/02/22-rdf-syntax-ns#"
OWN = "http://example.org/own/"
NAMESPACES = {
    "own": OWN, "dc": "http://purl.org/dc/elements/1.1/", "xmp": "http://ns.adobe.com/xap/1.0/",
    "xmpG": "http://ns.adobe.com/xap/1.0/g/", "xmpGImg": "http://ns.adobe.com/xap/1.0/g/img/",
    "stDim": "http://ns.adobe.com/xap/1.0/sType/Dimensions#", "stFnt": "http://ns.adobe.com/xap/1.0/sType/Font#",
    "stEvt": "http://ns.adobe.com/xap/1.0/sType/ResourceEvent#",
    "stRef": "http://ns.adobe.com/xap/1.0/sType/ResourceRef#", "stVer": "http://ns.adobe.com/xap/1.0/sType/Version#",
    "photoshop": "http://ns.adobe.com/photoshop/1.0/", "xmpDM": "http://ns.adobe.com/xmp/1.0/DynamicMedia/"}


@functools.cache
def plain_jpeg() -> bytes:
    return encoded("JPEG")


def read(properties: str, attributes: str = "", root: str = "x:xmpmeta", more: str = "") -> Any:
    """The packet of a JPEG with these properties in its one description."""
    names = " ".join(f'xmlns:{prefix}="{uri}"' for prefix, uri in NAMESPACES.items())
    packet = (f'<{root} xmlns:x="adobe:ns:meta/" {more}><rdf:RDF xmlns:rdf="{RDF}">'
              f'<rdf:Description rdf:about="" {names} {attributes}>{properties}</rdf:Description>'
              f'</rdf:RDF></{root}>')
    return loaded(with_segments(plain_jpeg(), segment(0xE1, XMP_MARK + packet.encode()))).xmp_data


def read_thing(content: str, attributes: str = "") -> Any:
    """The value of one property with this content."""
    return read(f"<own:thing {attributes}>{content}</own:thing>").get_package(OWN).get_prop_value("thing")


def canonical(description: str) -> str:
    """A description with the namespaces and empty elements in one form, by another library."""
    names = " ".join(f'xmlns:{prefix}="{uri}"' for prefix, uri in NAMESPACES.items())
    return ElementTree.canonicalize(f'<rdf:RDF xmlns:rdf="{RDF}" {names}>{description}</rdf:RDF>',
                                    rewrite_prefixes=True)


def elements(prefix: str, fields: dict[str, str]) -> str:
    return "".join(f"<{prefix}:{name}>{text}</{prefix}:{name}>" for name, text in fields.items())


def described(prefix: str, fields: dict[str, str]) -> str:
    return f"<rdf:Description>{elements(prefix, fields)}</rdf:Description>"


def ordered(*texts: str, code: str = "Seq") -> str:
    return f"<rdf:{code}>" + "".join(f"<rdf:li>{text}</rdf:li>" for text in texts) + f"</rdf:{code}>"


MOMENT, MOMENT_TEXT = datetime.datetime(2023, 6, 1, 12, 30, 15), "2023-06-01T12:30:15"
EVENT = {"action": "saved", "changed": "/metadata", "instanceID": "xmp.iid:1", "parameters": "all",
         "softwareAgent": "Some agent", "when": MOMENT_TEXT}
VERSION = {"comments": "a &amp; b", "event": described("stEvt", EVENT), "modifier": "Me", "modifyDate": MOMENT_TEXT,
           "version": "2"}

#: A class, the prefix of its fields, the fields as they stand in a packet, and its properties with their values.
STRUCTURES: list[tuple[Any, str, dict[str, str], dict[str, Any]]] = [
    (ColorantCmyk, "xmpG", {"swatchName": "Ink", "mode": "CMYK", "type": "SPOT", "cyan": "2.5", "magenta": "3",
                            "yellow": "4", "black": "100"},
     {"swatch_name": "Ink", "mode": ColorMode.CMYK, "color_type": ColorType.SPOT, "cyan": 2.5, "magenta": 3.0,
      "yellow": 4.0, "black": 100.0}),
    (ColorantLab, "xmpG", {"swatchName": "Sky", "mode": "LAB", "type": "PROCESS", "L": "30.5", "A": "-128", "B": "127"},
     {"swatch_name": "Sky", "mode": ColorMode.LAB, "color_type": ColorType.PROCESS, "l": 30.5, "a": -128, "b": 127}),
    (ColorantRgb, "xmpG", {"swatchName": "Light", "mode": "RGB", "type": "SPOT", "red": "0", "green": "255",
                           "blue": "7"},
     {"swatch_name": "Light", "mode": ColorMode.RGB, "color_type": ColorType.SPOT, "red": 0, "green": 255, "blue": 7}),
    (Dimensions, "stDim", {"w": "3.5", "h": "-4", "unit": "inch"}, {"width": 3.5, "height": -4.0, "units": "inch"}),
    (Dimensions, "stDim", {"w": "16777216", "h": "0.1", "unit": "pixel"},
     {"width": 16777216.0, "height": pytest.approx(0.1), "units": "pixel"}),
    (Font, "stFnt", {"childFontFiles": ordered("a.otf", "b.otf"), "composite": "True", "fontFace": "Bold",
                     "fontFamily": "Serif", "fontFileName": "serif.otf", "fontName": "Serif-Bold",
                     "fontType": "Open Type", "versionString": "1.0"},
     {"is_composite": True, "font_face": "Bold", "font_family": "Serif", "font_file_name": "serif.otf",
      "font_name": "Serif-Bold", "font_type": "Open Type", "version": "1.0"}),
    (ResourceEvent, "stEvt", EVENT,
     {"action": "saved", "changed": "/metadata", "instance_id": "xmp.iid:1", "parameters": "all",
      "sofware_agent_name": "Some agent", "action_date": MOMENT}),
    (ResourceRef, "stRef", {"alternatePaths": ordered("/a", "/b"), "documentID": "uuid:1", "filePath": "/c",
                            "instanceID": "uuid:2"},
     {"document_uri": "uuid:1", "file_path_uri": "/c", "instance_id": "uuid:2"}),
    (Thumbnail, "xmpGImg", {"width": "2147483647", "height": "-2147483648", "image": "AAAA"},
     {"width": 2 ** 31 - 1, "height": -2 ** 31, "image_base64": "AAAA"}),
    (Version, "stVer", VERSION, {"comments": "a & b", "modifier": "Me", "modified_date": MOMENT, "version_text": "2"}),
    (Layer, "photoshop", {"LayerName": "Name", "LayerText": "Text"}, {"name": "Name", "text": "Text"}),
    *[(ProjectLink, "xmpDM", {"type": word, "path": "a/b"}, {"type": kind, "path": "a/b"})
      for word, kind in (("movie", ProjectType.MOVIE), ("still", ProjectType.STILL), ("audio", ProjectType.AUDIO),
                         ("custom", ProjectType.CUSTOM))],
    (Time, "xmpDM", {"scale": "1001/30000", "value": "-7"}, {"value": -7}),
    (Timecode, "xmpDM", {"timeFormat": "25Timecode", "timeValue": "00:01:02:03"},
     {"format": TimeFormat.timecode25, "time_value": "00:01:02:03"})]


@pytest.mark.parametrize(("kind", "prefix", "fields", "values"), STRUCTURES,
                         ids=[f"{row[0].__name__}-{at}" for at, row in enumerate(STRUCTURES)])
def test_structures_become_objects_of_their_classes(kind: Any, prefix: str, fields: dict[str, str],
                                                    values: dict[str, Any]) -> None:
    for content, attributes in ((described(prefix, fields), ""), (elements(prefix, fields),
                                                                  'rdf:parseType="Resource"')):
        thing = read_thing(content, attributes)
        assert type(thing) is kind
        for name, value in values.items():
            assert getattr(thing, name) == value, name
        if isinstance(thing, ComplexTypeBase):
            assert (thing.prefix, thing.namespace_uri) == (prefix, NAMESPACES[prefix])
        # All that was read is written from it, in the same order.
        assert canonical(thing.get_xmp_representation()) == canonical(described(prefix, fields))
    # One more field, and it is none of these.
    more = described(prefix, {**fields, "more": "1"})
    other = read_thing(more)
    assert type(other) is ComplexTypeBase
    assert canonical(other.get_xmp_representation()) == canonical(more)


def test_structures_and_texts_inside_of_structures() -> None:
    font = read_thing(described("stFnt", STRUCTURES[5][2]))
    assert list(font.child_font_files) == ["a.otf", "b.otf"]
    assert list(read_thing(described("stRef", STRUCTURES[7][2])).alternate_paths) == ["/a", "/b"]
    version = read_thing(described("stVer", VERSION))
    assert type(version.version_event) is ResourceEvent
    assert version.version_event == read_thing(described("stEvt", EVENT))
    assert version.version_event.action == "saved"
    time = read_thing(described("xmpDM", {"scale": "1001/30000", "value": "-7"}))
    assert (time.scale.numerator, time.scale.denominator) == (1001, 30000)


RGB = {"mode": "RGB", "type": "SPOT", "red": "1", "green": "2", "blue": "3"}
FONT = {"composite": "False"}


def qualified(text: str) -> str:
    return f"<rdf:Description><rdf:value>{text}</rdf:value><own:by>me</own:by></rdf:Description>"


#: Fields of which one cannot be in an object of the class that has them.
MISFITS = [
    *[("xmpG", {**RGB, "red": text}) for text in ("256", "-1", "1.5", "", "1x", " 1", "0x1", "99999999999999999999")],
    *[("xmpG", {**RGB, "mode": text}) for text in ("HSV", "rgb", "2", "")],
    ("xmpG", {**RGB, "type": "spot"}),
    *[("xmpG", {name: RGB[name] for name in RGB if name != missing}) for missing in ("mode", "red", "green", "blue")],
    ("xmpG", {**RGB, "red": qualified("1")}),
    ("xmpG", {**RGB, "red": ordered("1")}),
    *[("xmpGImg", {"width": text, "height": "1"}) for text in ("2147483648", "-2147483649", "1.0", "")],
    *[("stDim", {"w": text, "h": "1"}) for text in ("wide", "", "1,5", "1e", "1 ", "inf", "nan", "1e400")],
    # More digits than the property holds: it would be written as another number.
    *[("stDim", {"w": text, "h": "1"}) for text in ("123456789", "0.123456789", "16777217", "1e39")],
    *[("stFnt", {"composite": text}) for text in ("true", "Yes", "1", "")],
    ("stFnt", {}),
    ("stFnt", {"fontFace": "Bold"}),  # one that is not composite by nature would be written as False
    ("stFnt", {**FONT, "childFontFiles": ordered("a", code="Bag")}),
    ("stFnt", {**FONT, "childFontFiles": ordered("a", code="Alt")}),
    ("stFnt", {**FONT, "childFontFiles": "a"}),
    ("stFnt", {**FONT, "childFontFiles": ordered(qualified("a"))}),
    ("stFnt", {**FONT, "fontFace": ordered("a")}),
    *[("stEvt", {"when": text}) for text in ("yesterday", "2023", "2023-06-01", "2023-06-01T12:30Z", "",
                                             "2023-06-01T12:30:15.10", "2023-06-01T12:30:15+00:00")],
    *[("stVer", {"version": "1", "event": text}) for text in ("saved", described("stEvt", {"what": "saved"}),
                                                              described("stRef", {"documentID": "1"}))],
    *[("xmpDM", {"scale": text, "value": "1"}) for text in ("1", "1/", "/2", "1/x", "x/2", "1/2/3", "1 /2", "",
                                                            "2147483648/1", "1/2147483648")],
    ("xmpDM", {"scale": "1/25"}),
    *[("xmpDM", {"timeFormat": text, "timeValue": "0"}) for text in ("26Timecode", "25timecode", "Stereo", "Timecode25",
                                                                     "timecode25", "")],
    *[("xmpDM", {"type": text, "path": "a"}) for text in ("Movie", "1", "")],
    ("xmpDM", {"path": "a"}),
]


@pytest.mark.parametrize(("prefix", "fields"), MISFITS)
def test_what_no_class_can_hold_stays_as_it_was_read(prefix: str, fields: dict[str, str]) -> None:
    content = described(prefix, fields) if fields else f"<rdf:Description><{prefix}:x/></rdf:Description>"
    thing = read_thing(content)
    assert type(thing) is ComplexTypeBase
    assert (thing.prefix, thing.namespace_uri) == (prefix, NAMESPACES[prefix])
    assert canonical(thing.get_xmp_representation()) == canonical(content)


def test_forms_of_arrays() -> None:
    for code, kind in (("Bag", "unordered"), ("Seq", "ordered"), ("Alt", "alternative")):
        thing = read_thing(ordered("a", "", "b &lt;", code=code))
        assert type(thing) is XmpArray, kind
        assert list(thing.values) == ["a", "", "b <"]
        assert canonical(thing.get_xml_value()) == canonical(ordered("a", "", "b &lt;", code=code))
        assert read_thing(ordered(code=code)).get_xml_value() == f"<rdf:{code}/>"
    # What stands between the items is none.
    assert list(read_thing("<rdf:Bag>\n<own:x>1</own:x><rdf:li>a</rdf:li>\n</rdf:Bag>").values) == ["a"]
    # Items that are no text are shown as they are written.
    mixed = f"<rdf:Seq><rdf:li>a</rdf:li><rdf:li>{described('own', {'b': '1'})}</rdf:li></rdf:Seq>"
    values = list(read_thing(mixed).values)
    assert values[0] == "a" and canonical(values[1]) == canonical(described("own", {"b": "1"}))
    nested = f"<rdf:Bag><rdf:li>{ordered('a')}</rdf:li></rdf:Bag>"
    assert list(read_thing(nested).values) == [ordered("a")]
    # A language of the whole is kept.
    spoken = read(f'<own:thing xml:lang="en">{ordered("a")}</own:thing>').get_package(OWN)
    assert type(spoken.get_prop_value("thing")) is ComplexTypeBase
    assert f'<own:thing xml:lang="en">{ordered("a")}</own:thing>' in spoken.get_xml_value()


def test_forms_of_language_alternatives() -> None:
    def alternatives(*items: str) -> Any:
        return read_thing(f"<rdf:Alt>{''.join(items)}</rdf:Alt>")

    english, german = '<rdf:li xml:lang="en">a</rdf:li>', '<rdf:li xml:lang="de">b</rdf:li>'
    both = alternatives(english, german)
    assert type(both) is LangAlt
    assert both.get_xml_value() == f"<rdf:Alt>{english}{german}</rdf:Alt>"
    for items in ((english, "<rdf:li>b</rdf:li>"), ("<rdf:li>b</rdf:li>", english), (),
                  (english, f'<rdf:li xml:lang="de">{ordered("b")}</rdf:li>'),
                  (f'<rdf:li xml:lang="de">{qualified("b")}</rdf:li>',)):
        other = alternatives(*items)
        assert type(other) is XmpArray
        assert canonical(other.get_xml_value()) == canonical(f"<rdf:Alt>{''.join(items)}</rdf:Alt>")
    assert type(read_thing(f"<rdf:Seq>{english}</rdf:Seq>")) is XmpArray


@pytest.mark.parametrize(("content", "attributes", "written"), [
    ("", 'own:a="1" own:b="2"', described("own", {"a": "1", "b": "2"})),
    ("", 'rdf:parseType="Resource"', "<rdf:Description/>"),
    ("<own:b>2</own:b>", 'rdf:parseType="Resource" own:a="1"', described("own", {"a": "1", "b": "2"})),
    ('<rdf:Description own:a="1"><own:b>2</own:b></rdf:Description>', "", described("own", {"a": "1", "b": "2"})),
    ("", 'own:a="1" rdf:value="7"', "<rdf:Description><rdf:value>7</rdf:value><own:a>1</own:a></rdf:Description>"),
    ("<rdf:value>7</rdf:value><own:a>1</own:a>", 'rdf:parseType="Resource"',
     "<rdf:Description><rdf:value>7</rdf:value><own:a>1</own:a></rdf:Description>"),
    (f"<rdf:Description><own:a>1</own:a><rdf:value>{ordered('x', 'y')}</rdf:value></rdf:Description>", "",
     f"<rdf:Description><rdf:value>{ordered('x', 'y')}</rdf:value><own:a>1</own:a></rdf:Description>"),
    (f"<rdf:Description><own:a>1</own:a><own:b>{described('dc', {'c': '2'})}</own:b></rdf:Description>", "",
     f"<rdf:Description><own:a>1</own:a><own:b>{described('dc', {'c': '2'})}</own:b></rdf:Description>")])
def test_forms_of_structures(content: str, attributes: str, written: str) -> None:
    thing = read_thing(content, attributes)
    assert type(thing) is ComplexTypeBase
    assert canonical(thing.get_xmp_representation()) == canonical(written)
    assert str(thing) == thing.get_xmp_representation()


@pytest.mark.parametrize(("content", "attributes", "text"), [
    ("text", "", "text"), (" a\nb ", "", " a\nb "), ("", "", ""), ("a &amp; &#xe9;", "", "a & \xe9"),
    ("text", 'plain="1"', "text"), ("", 'plain="1"', ""), ("text", 'rdf:ID="x"', "text"), ("text", 'rdf:about=""',
                                                                                           "text"),
    ("", 'rdf:resource="http://example.org/?a=1&amp;b=2"', "http://example.org/?a=1&b=2"),
    ("<rdf:value>7</rdf:value>", 'rdf:parseType="Resource"', "7"), ("", 'rdf:value="7"', "7"),
    ("<rdf:Description><rdf:value>7</rdf:value></rdf:Description>", "", "7")])
def test_forms_of_texts(content: str, attributes: str, text: str) -> None:
    assert read_thing(content, attributes) == text


def test_languages_of_values() -> None:
    """The language stands at the property, or at the value of a qualified one; that of the property is the nearer."""
    for at_property, at_value, kept in (('xml:lang="de"', "", "de"), ("", 'xml:lang="en"', "en"),
                                        ('xml:lang="de"', 'xml:lang="en"', "de")):
        value = f"<rdf:Description><rdf:value {at_value}>7</rdf:value></rdf:Description>"
        package = read(f"<own:thing {at_property}>{value}</own:thing>").get_package(OWN)
        assert f'<own:thing xml:lang="{kept}">7</own:thing>' in package.get_xml_value()
    spoken = read('<own:thing xml:lang="de" own:a="1"/>').get_package(OWN)
    assert 'xml:lang="de"' in spoken.get_xml_value() and "<own:a>1</own:a>" in spoken.get_xml_value()
    assert type(read_thing("<own:red>1</own:red>", 'rdf:parseType="Resource" xml:lang="de"')) is ComplexTypeBase
    # A class has no room for the language of its fields.
    assert type(read_thing(elements("photoshop", {"LayerName": "a"}), 'rdf:parseType="Resource"')) is Layer
    assert type(read_thing(elements("photoshop", {"LayerName": "a"}),
                           'rdf:parseType="Resource" xml:lang="de"')) is ComplexTypeBase
    assert type(read_thing('<photoshop:LayerName xml:lang="de">a</photoshop:LayerName>',
                           'rdf:parseType="Resource"')) is ComplexTypeBase
    assert type(read_thing("<rdf:Description><rdf:value><rdf:Description photoshop:LayerName='a'/></rdf:value>"
                           "<own:by>me</own:by></rdf:Description>")) is ComplexTypeBase


def test_values_that_stay_as_they_were_read_compare_by_what_they_hold() -> None:
    one = described("own", {"a": "1", "b": "2"})
    first, same = read_thing(one), read_thing("", 'own:a="1" own:b="2"')
    other = read_thing(described("own", {"a": "1", "b": "3"}))
    assert first == same != other
    assert hash(first) == hash(same) != hash(other)
    assert first != ComplexTypeBase("own", OWN) != first


def test_namespaces_of_properties() -> None:
    packet = read('<thing xmlns="http://example.org/default/">1</thing><own:a>1</own:a><own:a>2</own:a>'
                  '<rdf:type rdf:resource="x"/><plain>3</plain>', 'xmp:Label="a" own:b="4" xml:lang="de"')
    assert [(package.prefix, package.namespace_uri) for package in packet.packages] == [
        ("xmp", Namespaces.XMP_BASIC), ("own", OWN), ("ns0", "http://example.org/default/")]
    assert packet.get_package("http://example.org/default/").get_prop_value("thing") == "1"
    own = packet.get_package(OWN)
    assert [(key, own.get_prop_value(key)) for key in own] == [("own:b", "4"), ("own:a", "2")]
    # The prefix of a schema is its own, whatever the file has.
    other = read('<q:title xmlns:q="http://purl.org/dc/elements/1.1/">a</q:title>').get_package(Namespaces.DUBLIN_CORE)
    assert (other.prefix, list(other)) == ("dc", ["dc:title"])


def test_one_prefix_for_two_namespaces() -> None:
    """Every field keeps its namespace when the structure is written again."""
    fields = ('<p:a xmlns:p="http://example.org/1/">1</p:a><p:b xmlns:p="http://example.org/2/">2</p:b>'
              '<c xmlns="http://example.org/3/">3</c><d xmlns="http://example.org/4/">4</d>'
              '<p:e xmlns:p="http://example.org/1/">5</p:e>')
    thing = read_thing(fields, 'rdf:parseType="Resource"')
    [description] = ElementTree.fromstring(f'<x xmlns:rdf="{RDF}">{thing.get_xmp_representation()}</x>')
    assert [(field.tag, field.text) for field in description] == [
        ("{http://example.org/1/}a", "1"), ("{http://example.org/2/}b", "2"), ("{http://example.org/3/}c", "3"),
        ("{http://example.org/4/}d", "4"), ("{http://example.org/1/}e", "5")]


def test_attributes_of_the_outer_element() -> None:
    meta = read("", more='x:xmptk="Toolkit 1" kind="a" xmlns:o="http://example.org/" o:other="b"').meta
    assert [meta.get_attribute(name) for name in ("x:xmptk", "kind", "o:other", "other")] == ["Toolkit 1", "a", None,
                                                                                              None]
    assert meta.adobe_xmp_toolkit == "Toolkit 1"
    assert read("", root="own", more='kind="a"').meta.get_attribute("kind") is None
    assert read("<own:a>1</own:a>", root="x:xapmeta", more='kind="a"').packages_count == 1


@pytest.mark.parametrize(("before", "behind", "guid", "writable"), [
    ('<?xpacket begin="\ufeff" id="mine"?>', "<?xpacket end='r'?>", "mine", False),
    ("<?xpacket begin='' id='it'?>", '<?xpacket end="w"?>', "it", True),
    ('<?other id="x" end="r"?>', '<?other end="r"?>', None, True),
    ("<?xpacket id=?>", "<?xpacket end=?>", None, True), ('<?xpacket id="?>', "<?xpacket end='?>", None, True),
    ('<?xpacket id="open?>', "<?xpacket end='r\"?>", None, True), ('<?xpacket id=""?>', '<?xpacket end=""?>', None,
                                                                   True),
    ("<?xpacket?>", "\n<?xpacket nothing?>\0\0", None, True), ("", "\0", None, True), ("", "", None, True)])
def test_instructions_around_a_packet(before: str, behind: str, guid: str | None, writable: bool) -> None:
    packet = f'{before}<rdf:RDF xmlns:rdf="{RDF}"><rdf:Description own:a="1" xmlns:own="{OWN}"/></rdf:RDF>{behind}'
    found = loaded(with_segments(plain_jpeg(), segment(0xE1, XMP_MARK + packet.encode()))).xmp_data
    assert found.get_package(OWN).get_prop_value("a") == "1"
    assert (found.header_pi.guid, found.trailer_pi.is_writable) == (guid or "W5M0MpCehiHzreSzNTczkc9d", writable)


def test_carriage_returns_survive_a_file() -> None:
    image = loaded(plain_jpeg())
    package = XmpBasicPackage()
    package.set_prop_value("Label", "a\rb\r\nc\td & <e> \"f\" 'g'")
    packet = read("")
    packet.add_package(package)
    image.xmp_data = packet
    file = saved(image)
    assert b"a&#13;b&#13;\nc\td &amp; &lt;e" in file
    back = loaded(file).xmp_data.get_package(Namespaces.XMP_BASIC).get_prop_value("Label")
    assert back == "a\rb\r\nc\td & <e> \"f\" 'g'"


def test_elements_nest_256_deep() -> None:
    def nested(depth: int) -> Any:
        return read_thing("<own:a>" * depth + "</own:a>" * depth)

    assert type(nested(252)) is ComplexTypeBase  # in the thing, the description, the RDF and the outer element
    with managed_error("XmlException", "The elements nest too deep."):
        nested(253)
