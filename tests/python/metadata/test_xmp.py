"""XMP: packets, packages and values store the given values, and write them as RDF that others can read."""

from __future__ import annotations

import datetime
import uuid
import xml.etree.ElementTree as ElementTree
from typing import Any

import pytest
from zelmor.imaging import xmp
from zelmor.imaging.xmp import LangAlt, Namespaces, XmpArray, XmpArrayHelper, XmpArrayType, XmpPacketWrapper
from zelmor.imaging.xmp.schemas.dicom import DicomPackage
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage
from zelmor.imaging.xmp.schemas.pdf import PdfPackage
from zelmor.imaging.xmp.schemas.photoshop import ColorMode, Layer, PhotoshopPackage
from zelmor.imaging.xmp.schemas.xmpbaseschema import XmpBasicPackage
from zelmor.imaging.xmp.schemas.xmpdm import (AudioChannelType, AudioSampleType, ProjectLink, ProjectType, Time,
                                              Timecode, TimeFormat, XmpDynamicMediaPackage)
from zelmor.imaging.xmp.schemas.xmpmm import XmpMediaManagementPackage
from zelmor.imaging.xmp.schemas.xmprm import XmpRightsManagementPackage
from zelmor.imaging.xmp.types.basic import XmpBoolean, XmpDate, XmpInteger, XmpReal, XmpText
from zelmor.imaging.xmp.types.complex import ComplexTypeBase
from zelmor.imaging.xmp.types.complex.colorant import ColorantCmyk, ColorantLab, ColorantRgb, ColorType
from zelmor.imaging.xmp.types.complex.colorant import ColorMode as ColorantMode
from zelmor.imaging.xmp.types.complex.dimensions import Dimensions
from zelmor.imaging.xmp.types.complex.font import Font
from zelmor.imaging.xmp.types.complex.resourceevent import ResourceEvent
from zelmor.imaging.xmp.types.complex.resourceref import ResourceRef
from zelmor.imaging.xmp.types.complex.thumbnail import Thumbnail
from zelmor.imaging.xmp.types.complex.version import Version
from zelmor.imaging.xmp.types.derived import (Rational, RenditionClass, XmpAgentName, XmpGuid, XmpLocale,
                                              XmpMimeType)

from support.image_oracles import managed_error

RDF = "http://www.w3.org/1999/02/22-rdf-syntax-ns#"
LANG = "{http://www.w3.org/XML/1998/namespace}lang"


def parsed(fragment: str) -> ElementTree.Element:
    """A fragment of RDF, parsed by another library."""
    return ElementTree.fromstring(f'<rdf:RDF xmlns:rdf="{RDF}">{fragment}</rdf:RDF>')[0]


def fields(value: object) -> dict[str, str | None]:
    """The fields of a structure as text, by their names without namespaces."""
    return {child.tag.split("}")[1]: child.text for child in parsed(value.get_xmp_representation())}


def test_namespaces_are_the_published_ones() -> None:
    assert Namespaces.DUBLIN_CORE == "http://purl.org/dc/elements/1.1/"
    assert Namespaces.RDF == RDF
    assert Namespaces.XML == "http://www.w3.org/XML/1998/namespace"
    names = [name for name in dir(Namespaces) if name.isupper()]
    assert len(names) == 17
    assert len({getattr(Namespaces, name) for name in names}) == 17


def test_arrays_are_written_by_their_kind() -> None:
    for kind, code in ((XmpArrayType.UNORDERED, "Bag"), (XmpArrayType.ORDERED, "Seq"),
                       (XmpArrayType.ALTERNATIVE, "Alt")):
        assert XmpArrayHelper.get_rdf_code(kind) == f"rdf:{code}"
        array = XmpArray(kind, ["one", "two & <three>"])
        array.add_item("four")
        assert list(array.values) == ["one", "two & <three>", "four"]
        element = parsed(array.get_xml_value())
        assert element.tag == f"{{{RDF}}}{code}"
        assert [item.text for item in element] == ["one", "two & <three>", "four"]
    assert XmpArray(XmpArrayType.ORDERED) == XmpArray(XmpArrayType.ORDERED, [])
    assert XmpArray(XmpArrayType.ORDERED) != XmpArray(XmpArrayType.UNORDERED)


def test_language_alternatives_begin_with_the_default() -> None:
    texts = LangAlt()
    texts.add_language("de", "Titel")
    texts.add_language("x-default", "Title")
    texts.add_language("DE", "Überschrift")
    items = list(parsed(texts.get_xml_value()))
    assert [(item.get(LANG), item.text) for item in items] == [("x-default", "Title"), ("de", "Überschrift")]
    with pytest.raises(RuntimeError, match="ArgumentException"):
        texts.add_language("not a language", "text")
    assert LangAlt("Title") == LangAlt("Title")


@pytest.mark.parametrize(("tag", "is_one"), [
    *[(tag, True) for tag in ("a", "de", "EN", "x-default", "abcdefgh", "12345678", "de-CH-1996", "a-b-c", "z-Z-0-9")],
    *[(tag, False) for tag in ("", "-", "a-", "-a", "a--b", "abcdefghi", "a-abcdefghi", "de_CH", "d e", "\xe9", "a@",
                               "a[", "a`", "a{", "a/", "a:", "de.")]])
def test_tags_of_languages(tag: str, is_one: bool) -> None:
    """Parts of one to eight letters and digits."""
    texts = LangAlt()
    if is_one:
        texts.add_language(tag, "text")
        [item] = parsed(texts.get_xml_value())
        assert (item.get(LANG), item.text) == (tag, "text")
    else:
        with managed_error("ArgumentException", f"language: '{tag}' is not the tag of a language, such as 'de' or "
                           "'en-US'."):
            texts.add_language(tag, "text")
        assert texts.get_xml_value() == "<rdf:Alt/>"


def test_languages_are_told_apart_by_letters_of_any_case() -> None:
    texts = LangAlt("first")
    for tag, text in (("de", "1"), ("DE", "2"), ("de-AZ", "3"), ("De-az", "4"), ("d", "5"), ("X-DEFAULT", "new")):
        texts.add_language(tag, text)
    items = [(item.get(LANG), item.text) for item in parsed(texts.get_xml_value())]
    assert items == [("x-default", "new"), ("de", "2"), ("de-AZ", "4"), ("d", "5")]


def test_a_package_is_a_dictionary_of_its_schema() -> None:
    package = DublinCorePackage()
    assert (package.prefix, package.namespace_uri) == ("dc", Namespaces.DUBLIN_CORE)
    assert package.xml_namespace == f'xmlns:dc="{Namespaces.DUBLIN_CORE}"'
    assert list(package) == []
    package.add_value("coverage", "here")
    package.set_prop_value("dc:rating", 5)
    assert list(package) == ["dc:coverage", "dc:rating"]
    assert package.contains_key("dc:coverage") and package.contains_key("coverage")
    assert package.get_prop_value("rating") == 5
    assert package.get_prop_value("missing") is None
    assert package.remove("coverage") and not package.remove("coverage")
    package.clear()
    assert list(package) == []


@pytest.mark.parametrize("key", ["xmp:CreateDate", "no name", "", "dc:", "a<b"])
def test_keys_that_cannot_be_in_a_package_are_refused(key: str) -> None:
    with pytest.raises(RuntimeError, match="ArgumentException"):
        DublinCorePackage().add_value(key, "text")


def test_values_come_out_as_what_they_are() -> None:
    package = XmpBasicPackage()
    date = datetime.datetime(2023, 6, 1, 12, 30)
    for value in ("text", 7, 2.5, True, date, LangAlt("a"), XmpArray(XmpArrayType.ORDERED, ["a"]), Rational(1, 25),
                  Dimensions(3.0, 4.0), XmpReal(0.5)):
        package.set_prop_value("Thing", value)
        back = package.get_prop_value("Thing")
        assert type(back) is type(value)
        assert back == value
    package.set_value("Texts", LangAlt("b"))
    assert type(package.get_prop_value("Texts")) is LangAlt
    package.set_xmp_type_value("Size", Dimensions(1.0, 2.0))
    assert type(package.get_prop_value("Size")) is Dimensions
    with pytest.raises(RuntimeError, match="InvalidCastException"):
        package.set_prop_value("Thing", XmpPacketWrapper())


def test_dublin_core_has_arrays_and_languages() -> None:
    package = DublinCorePackage()
    package.set_title("Title & <tag>")
    package.set_description(LangAlt("Text"))
    package.set_subject(["one", "two"])
    package.set_author("first")
    package.add_value("creator", "second")
    package.set_publisher_array(["house"])
    assert list(package.get_prop_value("creator").values) == ["first", "second"]
    root = parsed(package.get_xml_value())
    assert root.get(f"{{{RDF}}}about") == ""
    shape = {child.tag.split("}")[1]: child[0].tag.split("}")[1] for child in root}
    assert shape == {"title": "Alt", "description": "Alt", "subject": "Bag", "creator": "Seq", "publisher": "Bag"}
    assert root[0][0][0].text == "Title & <tag>"


def test_the_schemas_know_their_properties() -> None:
    dicom = DicomPackage()
    dicom.set_patient_name("A B")
    pdf = PdfPackage()
    pdf.set_trapped(True)
    pdf.set_pdf_version("1.7")
    photoshop = PhotoshopPackage()
    photoshop.set_color_mode(ColorMode.CMYK)
    photoshop.set_created_date(datetime.datetime(2023, 6, 1, tzinfo=datetime.timezone.utc))
    photoshop.set_supplemental_categories(["a", "b"])
    rights = XmpRightsManagementPackage()
    rights.set_owners(["me"])
    rights.set_usage_terms(LangAlt("none"))
    rights.set_marked_as_right_management(False)
    media = XmpDynamicMediaPackage()
    media.set_audio_channel_type(AudioChannelType.stereo)
    media.set_audio_sample_type(AudioSampleType.sample_8_int)
    media.set_duration(Time(Rational(1, 25), 100))
    media.set_alblum("Album")
    management = XmpMediaManagementPackage()
    management.set_document_id(uuid.UUID("00112233-4455-6677-8899-aabbccddeeff"))
    management.set_instance_id("xmp.iid:1")

    assert dicom.get_prop_value("PatientName") == "A B"
    assert {child.tag.split("}")[1]: child.text for child in parsed(pdf.get_xml_value())} == {
        "Trapped": "True", "PDFVersion": "1.7"}
    assert parsed(photoshop.get_xml_value())[0].text == "4"
    assert parsed(photoshop.get_xml_value())[1].text == "2023-06-01T00:00:00Z"
    assert rights.get_prop_value("Marked") is False
    assert media.get_prop_value("audioChannelType") == "Stereo"
    assert media.get_prop_value("audioSampleType") == "8Int"
    assert media.get_prop_value("album") == "Album"
    assert management.get_prop_value("DocumentID") == "uuid:00112233-4455-6677-8899-aabbccddeeff"
    assert management.get_prop_value("InstanceID") == "xmp.iid:1"


def test_numbers_out_of_range_are_refused() -> None:
    basic, photoshop = XmpBasicPackage(), PhotoshopPackage()
    for rating in (-1, 0, 5):
        basic.set_rating(rating)
        assert basic.get_prop_value("Rating") == rating
    assert (XmpBasicPackage.RATING_REJECTED, XmpBasicPackage.RATING_MIN, XmpBasicPackage.RATING_MAX) == (-1, 0, 5)
    assert (PhotoshopPackage.URGENCY_MIN, PhotoshopPackage.URGENCY_MAX) == (1, 8)
    for call, number in ((basic.set_rating, 6), (basic.set_rating, -2), (photoshop.set_urgency, 0),
                         (photoshop.set_urgency, 9)):
        with pytest.raises(RuntimeError, match="ArgumentOutOfRangeException"):
            call(number)
    with pytest.raises(RuntimeError, match="FormatException"):
        basic.set_created_date("yesterday")


def test_a_package_can_have_a_custom_schema() -> None:
    package = XmpBasicPackage("mine", "http://example.org/mine/")
    package.add_value("thing", "text")
    assert list(package) == ["mine:thing"]
    assert parsed(package.get_xml_value())[0].tag == "{http://example.org/mine/}thing"
    for prefix, uri in (("no name", "u"), ("", "u"), ("p", "")):
        with pytest.raises(RuntimeError, match="ArgumentException"):
            XmpBasicPackage(prefix, uri)


@pytest.mark.parametrize(("value", "text"), [
    (XmpBoolean(True), "True"), (XmpBoolean("false"), "False"), (XmpInteger(2 ** 40), str(2 ** 40)),
    (XmpInteger("-7"), "-7"), (XmpReal(0.1), "0.1"), (XmpReal("2.5"), "2.5"), (XmpText("a & b"), "a &amp; b"),
    (XmpAgentName("agent"), "agent"), (XmpLocale("en-US"), "en-US"), (XmpMimeType("image/png"), "image/png"),
    (Rational(24000, 1001), "24000/1001"), (RenditionClass("proof", "jpg"), "proof:jpg"),
    (XmpDate("2023"), "2023"), (XmpDate("2023-06"), "2023-06"), (XmpDate("2023-06-01"), "2023-06-01"),
    (XmpDate("2023-06-01T12:30Z"), "2023-06-01T12:30Z"),
    (XmpDate("2023-06-01T12:30:15.25-05:00"), "2023-06-01T12:30:15.25-05:00"),
    (XmpDate(datetime.datetime(2023, 6, 1, 12, 30)), "2023-06-01T12:30:00"),
    (XmpGuid("uuid:00112233-4455-6677-8899-aabbccddeeff"), "uuid:00112233-4455-6677-8899-aabbccddeeff"),
    (XmpGuid(uuid.UUID(int=1)), "uuid:00000000-0000-0000-0000-000000000001"),
])
def test_simple_values_as_text(value: object, text: str) -> None:
    assert value.get_xmp_representation() == text


def test_dates_and_identifiers_are_values_of_their_own() -> None:
    zone = datetime.timezone(datetime.timedelta(hours=2))
    assert XmpDate("2023-06-01T12:30:00+02:00").value == datetime.datetime(2023, 6, 1, 12, 30, tzinfo=zone)
    assert XmpDate("2023-06").format == "yyyy-MM"
    assert XmpGuid("00112233445566778899aabbccddeeff").value == "00112233-4455-6677-8899-aabbccddeeff"
    assert (XmpGuid(uuid.UUID(int=1)).prefix, XmpGuid(uuid.UUID(int=1)).value[-4:]) == ("uuid", "0001")
    for make, text in ((XmpDate, "2023-02-30"), (XmpDate, "soon"), (XmpDate, "2023-06-01T25:00"), (XmpGuid, "12"),
                       (XmpInteger, "1.5"), (XmpReal, "much"), (XmpBoolean, "maybe")):
        with pytest.raises(RuntimeError, match="FormatException"):
            make(text)
    with pytest.raises(RuntimeError, match="OverflowException"):
        XmpInteger("9" * 30)


def test_structures_are_fields_of_their_namespace() -> None:
    size = Dimensions(3.5, 4.0)
    size.units = "inch"
    assert fields(size) == {"w": "3.5", "h": "4", "unit": "inch"}
    assert (size.prefix, size.namespace_uri) == ("stDim", Namespaces.XMP_TYPE_DIMENSIONS)
    lab = ColorantLab(-10, 20, 30.5)
    assert lab.mode == ColorantMode.LAB
    assert (lab.a, lab.b, lab.l) == (-10, 20, 30.5)
    cmyk = ColorantCmyk(1.0, 2.0, 3.0, 4.0)
    cmyk.swatch_name, cmyk.color_type = "Ink", ColorType.SPOT
    assert fields(cmyk) == {"swatchName": "Ink", "mode": "CMYK", "type": "SPOT", "cyan": "2", "magenta": "3",
                            "yellow": "4", "black": "1"}
    assert ColorantRgb(1, 2, 3).mode == ColorantMode.RGB
    font = Font("Serif")
    font.child_font_files = ["a", "b"]
    assert fields(font)["fontFamily"] == "Serif" and fields(font)["composite"] == "False"
    event = ResourceEvent()
    assert event.action_date == datetime.datetime(1, 1, 1) and fields(event) == {}
    with pytest.raises(TypeError, match="^can't build DateTime from 'NoneType'$"):
        event.action_date = None
    event.action, event.action_date = "saved", datetime.datetime(2023, 6, 1)
    assert fields(event) == {"action": "saved", "when": "2023-06-01T00:00:00"}
    version = Version()
    version.version_event, version.version_text = event, "2"
    inner = {child.tag.split("}")[1]: child for child in parsed(version.get_xmp_representation())}
    assert inner["version"].text == "2" and inner["event"][0][0].text == "saved"
    assert fields(Thumbnail(10, 20)) == {"width": "10", "height": "20"}
    assert fields(Layer("Name", "Text")) == {"LayerName": "Name", "LayerText": "Text"}
    link = ProjectLink()
    link.path, link.type = "a/b", ProjectType.AUDIO
    assert fields(link) == {"type": "audio", "path": "a/b"}
    code = Timecode(TimeFormat.timecode25, "00:01:02:03")
    assert fields(code) == {"timeFormat": "25Timecode", "timeValue": "00:01:02:03"}
    assert fields(Time(Rational(1, 25), 7)) == {"scale": "1/25", "value": "7"}
    assert ComplexTypeBase("p", "http://example.org/").prefix == "p"


def test_constants_of_types() -> None:
    assert (ColorantCmyk.COLOR_VALUE_MIN, ColorantCmyk.COLOR_VALUE_MAX) == (0.0, 100.0)
    assert (ColorantLab.MIN_A, ColorantLab.MAX_A, ColorantLab.MAX_L) == (-128, 127, 100.0)
    assert "thumbnail" in list(RenditionClass.defined_values)
    assert TimeFormat.timecode24.equals(TimeFormat.timecode24)
    assert not TimeFormat.timecode24.equals(TimeFormat.timecode25)


def test_values_compare_by_what_they_hold() -> None:
    assert Rational(1, 3) == Rational(1, 3) != Rational(2, 6)
    assert hash(Rational(1, 3)) == hash(Rational(1, 3))
    assert Rational(1, 3).float_value == pytest.approx(1 / 3)
    assert Layer("a", "b").equals(Layer("a", "b")) and not Layer("a", "b").equals(Layer("a", "c"))
    assert not Layer("a", "b").equals(None)
    assert Timecode(TimeFormat.timecode25, "x").equals(Timecode(TimeFormat.timecode25, "x"))
    one, other = ResourceRef(), ResourceRef()
    one.document_uri = "uuid:1"
    assert one != other
    other.document_uri = "uuid:1"
    assert one == other


def test_header_trailer_and_meta() -> None:
    header, trailer = xmp.XmpHeaderPi(), xmp.XmpTrailerPi()
    assert header.get_xml_value() == '<?xpacket begin="\ufeff" id="W5M0MpCehiHzreSzNTczkc9d"?>'
    assert trailer.get_xml_value() == '<?xpacket end="w"?>'
    trailer.is_writable = False
    assert trailer.get_xml_value() == '<?xpacket end="r"?>'
    assert trailer.equals(xmp.XmpTrailerPi(False)) and not trailer.equals(xmp.XmpTrailerPi(True))
    assert xmp.XmpHeaderPi("x").guid == "x" and not header.equals(xmp.XmpHeaderPi("x"))
    meta = xmp.XmpMeta("Toolkit 1")
    assert meta.adobe_xmp_toolkit == "Toolkit 1"
    meta.add_attribute("kind", "a & b")
    assert meta.get_attribute("kind") == "a & b" and meta.get_attribute("other") is None
    element = ElementTree.fromstring(meta.get_xml_value())
    assert element.tag == "{adobe:ns:meta/}xmpmeta" and element.get("kind") == "a & b"
    same = xmp.XmpMeta()
    assert not meta.equals(same)
    same.add_attribute("kind", "a & b")
    same.adobe_xmp_toolkit = "Toolkit 1"
    assert meta.equals(same) and meta == same
    meta.clear_attributes()
    assert meta.adobe_xmp_toolkit is None
    with pytest.raises(RuntimeError, match="ArgumentException"):
        meta.add_attribute("no name", "x")
    root = xmp.XmpRdfRoot()
    root.register_namespace_uri("p", "http://example.org/")
    assert root.get_namespace_uri("p") == "http://example.org/" and root.get_namespace_uri("q") is None
    assert ElementTree.fromstring(root.get_xml_value()).tag == f"{{{RDF}}}RDF"


def test_packets_hold_one_package_of_each_namespace() -> None:
    packet, package = XmpPacketWrapper(), DublinCorePackage()
    packet.add_package(package)
    assert packet.packages_count == 1
    assert packet.contains_package(Namespaces.DUBLIN_CORE) and not packet.contains_package(Namespaces.PDF)
    assert packet.get_package(Namespaces.PDF) is None
    assert packet.get_package(Namespaces.DUBLIN_CORE) == package
    assert [found.namespace_uri for found in packet.packages] == [Namespaces.DUBLIN_CORE]
    with pytest.raises(RuntimeError, match="ArgumentException.*already"):
        packet.add_package(DublinCorePackage())
    with pytest.raises(RuntimeError, match="ArgumentNullException"):
        packet.add_package(None)
    packet.remove_package(package)
    packet.add_package(PdfPackage())
    packet.clear_packages()
    assert packet.packages_count == 0
    header, trailer, meta = xmp.XmpHeaderPi("g"), xmp.XmpTrailerPi(False), xmp.XmpMeta("t")
    made = XmpPacketWrapper(header, trailer, meta)
    assert (made.header_pi, made.trailer_pi, made.meta) == (header, trailer, meta)


def test_a_collection_returns_packages_in_their_run_time_types() -> None:
    packages = xmp.XmpPackageBaseCollection()
    packages.add(DublinCorePackage())
    packages.add(PdfPackage())
    assert packages.count == 2
    assert [type(package) for package in packages] == [DublinCorePackage, PdfPackage]
    assert len(list(packages.get_packages())) == 2
    assert packages.get_package(Namespaces.PDF).prefix == "pdf"
    packages.remove(packages.get_package(Namespaces.PDF))
    assert packages.count == 1
    packages.clear()
    assert list(packages) == []


def test_text_that_xml_cannot_hold_is_refused_when_it_is_written() -> None:
    package = DublinCorePackage()
    package.set_title("a\x01b")
    with pytest.raises(RuntimeError, match="ArgumentException.*control character"):
        package.get_xml_value()


@pytest.mark.parametrize(("package", "member", "parameter"), [
    (DublinCorePackage, "set_title", "title"), (XmpBasicPackage, "set_creator_tool", "creator_tool"),
    (PhotoshopPackage, "set_city", "city")])
def test_a_text_that_is_missing_is_named(package: Any, member: str, parameter: str) -> None:
    with managed_error("ArgumentNullException", f"Value cannot be null. (Parameter '{parameter}')"):
        getattr(package(), member)(None)
