"""Members of XMP's packages and values at their bounds: what is left out, what is refused, and what is equal."""

from __future__ import annotations

import datetime
from typing import Any, Callable

import pytest
from zelmor.imaging.xmp import (LangAlt, XmpArray, XmpArrayType, XmpHeaderPi, XmpMeta, XmpPackageBaseCollection,
                                XmpPacketWrapper, XmpRdfRoot, XmpTrailerPi)
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage
from zelmor.imaging.xmp.schemas.pdf import PdfPackage
from zelmor.imaging.xmp.schemas.photoshop import PhotoshopPackage
from zelmor.imaging.xmp.schemas.xmpbaseschema import XmpBasicPackage
from zelmor.imaging.xmp.schemas.xmpdm import (AudioChannelType, AudioSampleType, Timecode, TimeFormat,
                                              XmpDynamicMediaPackage)
from zelmor.imaging.xmp.schemas.xmpmm import XmpMediaManagementPackage
from zelmor.imaging.xmp.schemas.xmprm import XmpRightsManagementPackage
from zelmor.imaging.xmp.types.basic import XmpBoolean, XmpDate, XmpInteger, XmpReal
from zelmor.imaging.xmp.types.complex import ComplexTypeBase
from zelmor.imaging.xmp.types.complex.colorant import ColorantCmyk, ColorantLab, ColorantRgb
from zelmor.imaging.xmp.types.complex.font import Font
from zelmor.imaging.xmp.types.complex.resourceref import ResourceRef
from zelmor.imaging.xmp.types.complex.version import Version
from zelmor.imaging.xmp.types.derived import Rational, RenditionClass, XmpGuid

from support.image_oracles import managed_error

MOMENT = datetime.datetime(2023, 6, 1, 12, 30, tzinfo=datetime.timezone(datetime.timedelta(hours=2)))


@pytest.mark.parametrize(("make", "key", "code"), [
    *[(DublinCorePackage, key, code) for key, code in (
        ("contributor", "Bag"), ("creator", "Seq"), ("date", "Seq"), ("description", "Alt"), ("language", "Bag"),
        ("publisher", "Bag"), ("relation", "Bag"), ("rights", "Alt"), ("subject", "Bag"), ("title", "Alt"),
        ("type", "Bag"), ("format", ""), ("source", ""), ("identifier", ""), ("coverage", ""))],
    (XmpBasicPackage, "Advisory", "Bag"), (XmpBasicPackage, "Identifier", "Bag"), (XmpBasicPackage, "Label", ""),
    (XmpRightsManagementPackage, "Owner", "Bag"), (XmpRightsManagementPackage, "UsageTerms", "Alt"),
    (XmpRightsManagementPackage, "Marked", ""), (PhotoshopPackage, "DocumentAncestors", "Bag"),
    (PhotoshopPackage, "SupplementalCategories", "Bag"), (PhotoshopPackage, "City", ""), (PdfPackage, "creator", "")])
def test_values_that_are_added_go_where_the_schema_has_several(make: Any, key: str, code: str) -> None:
    package = make()
    for text in ("one", "two"):
        package.add_value(key, text)
    items = {"": "two", "Alt": '<rdf:Alt><rdf:li xml:lang="x-default">two</rdf:li></rdf:Alt>'}.get(
        code, f"<rdf:{code}><rdf:li>one</rdf:li><rdf:li>two</rdf:li></rdf:{code}>")
    assert package.get_xml_value().partition(">")[2] == (f"<{package.prefix}:{key}>{items}</{package.prefix}:{key}>"
                                                         "</rdf:Description>")
    assert list(package) == [f"{package.prefix}:{key}"]


def test_setters_of_one_item_replace_all() -> None:
    package = DublinCorePackage()
    package.set_author(["a", "b"])
    package.set_author("c")
    assert list(package.get_prop_value("creator").values) == ["c"]
    package.add_value("creator", "d")
    assert list(package.get_prop_value("creator").values) == ["c", "d"]


@pytest.mark.parametrize(("call", "parameter"), [
    (lambda: DublinCorePackage().set_value("title", None), "value"),
    (lambda: DublinCorePackage().set_xmp_type_value("title", None), "value"),
    (lambda: DublinCorePackage().set_title_lang_alt(None), "a LangAlt"),
    (lambda: XmpDynamicMediaPackage().set_duration(None), "a value of XMP"),
    (lambda: XmpDynamicMediaPackage().set_audio_channel_type(None), "a ready-made value"),
    (lambda: XmpPacketWrapper(None, XmpTrailerPi(), XmpMeta()), "header"),
    (lambda: XmpPacketWrapper(XmpHeaderPi(), None, XmpMeta()), "trailer"),
    (lambda: XmpPacketWrapper(XmpHeaderPi(), XmpTrailerPi(), None), "xmp_meta"),
    (lambda: XmpPacketWrapper().remove_package(None), "package"),
    (lambda: XmpPackageBaseCollection().add(None), "package"),
    (lambda: XmpPackageBaseCollection().remove(None), "package")])
def test_what_has_to_be_given(call: Callable[[], object], parameter: str) -> None:
    with managed_error("ArgumentNullException", f"Value cannot be null. (Parameter '{parameter}')"):
        call()


def test_values_of_properties_as_xml() -> None:
    package = PhotoshopPackage()
    for value, content in (
            (None, ""), ("", ""), ("a < b", "a &lt; b"), (5, "5"), (2.5, "2.5"), (True, "True"), (False, "False"),
            (MOMENT, "2023-06-01T12:30:00+02:00"), (MOMENT.replace(tzinfo=None), "2023-06-01T12:30:00"),
            (["a", 5, True, 2.5, MOMENT, None],
             "<rdf:Bag><rdf:li>a</rdf:li><rdf:li>5</rdf:li><rdf:li>True</rdf:li><rdf:li>2.5</rdf:li>"
             "<rdf:li>2023-06-01T12:30:00+02:00</rdf:li><rdf:li/></rdf:Bag>"),
            ([], "<rdf:Bag/>"), (LangAlt(), "<rdf:Alt/>"), (Rational(1, 25), "1/25"), (XmpReal(0.5), "0.5"),
            (AudioChannelType.audio51, "5.1"), (TimeFormat.drop_timecode2997, "2997DropTimecode")):
        package.set_prop_value("Thing", value)
        element = f"<photoshop:Thing>{content}</photoshop:Thing>" if content else "<photoshop:Thing/>"
        assert element in package.get_xml_value(), value
    # A date of a setter is a moment of the universal time.
    package.set_created_date(MOMENT)
    assert "<photoshop:DateCreated>2023-06-01T10:30:00Z</photoshop:DateCreated>" in package.get_xml_value()


@pytest.mark.parametrize(("key", "name"), [
    ("_a", "_a"), ("a-b.c9", "a-b.c9"), ("\xe9", "\xe9"), ("dc:A", "A"), ("z", "z"), ("Z", "Z")])
def test_keys_that_are_names(key: str, name: str) -> None:
    package = DublinCorePackage()
    package.set_prop_value(key, 1)
    assert list(package) == [f"dc:{name}"] and package.contains_key(name)


@pytest.mark.parametrize("name", ["9a", "-a", ".a", "a b", "a@", "a[", "a`", "a{", "@a", "[a", "`a", "{a", "a/", "a;",
                                  "a\n", "a:b:c", ""])
def test_keys_that_are_no_names(name: str) -> None:
    local = name.partition(":")[2] or name
    with managed_error("ArgumentException", f"key: '{local}' is not a name that XML allows."):
        DublinCorePackage().contains_key(name)


@pytest.mark.parametrize(("attribute", "fits"), [
    ("a", True), ("p:a", True), ("a:", False), (":a", False), ("p:a:b", False), ("p:9", False), ("9:p", False)])
def test_names_of_attributes(attribute: str, fits: bool) -> None:
    meta = XmpMeta()
    if fits:
        meta.add_attribute(attribute, "1")
        assert meta.get_attribute(attribute) == "1"
        assert meta.get_xml_value() == f'<x:xmpmeta xmlns:x="adobe:ns:meta/" {attribute}="1"/>'
    else:
        with managed_error("ArgumentException", f"attribute: '{attribute}' is not a name that XML allows."):
            meta.add_attribute(attribute, "1")
        assert meta.get_xml_value() == '<x:xmpmeta xmlns:x="adobe:ns:meta/"/>'


def test_attributes_of_elements() -> None:
    root = XmpRdfRoot()
    rdf = "http://www.w3.org/1999/02/22-rdf-syntax-ns#"
    assert root.get_namespace_uri("rdf") == rdf
    assert root.get_xml_value() == f'<rdf:RDF xmlns:rdf="{rdf}"/>'
    root.register_namespace_uri("rdf", "http://example.org/")
    assert root.get_namespace_uri("rdf") == "http://example.org/"
    assert root.get_xml_value() == '<rdf:RDF xmlns:rdf="http://example.org/"/>'
    meta = XmpMeta("a")
    for value in ("1", "2"):
        meta.add_attribute("b", value)
    assert meta.get_xml_value() == '<x:xmpmeta xmlns:x="adobe:ns:meta/" x:xmptk="a" b="2"/>'
    meta.adobe_xmp_toolkit = None
    assert meta.get_xml_value() == '<x:xmpmeta xmlns:x="adobe:ns:meta/" b="2"/>'
    assert not meta.equals(None) and not XmpHeaderPi().equals(None)


def test_the_order_of_attributes_is_no_difference() -> None:
    one, other = XmpMeta(), XmpMeta()
    one.add_attribute("a", "1")
    one.add_attribute("b", "2")
    assert one != other
    other.add_attribute("b", "2")
    assert one != other
    other.add_attribute("a", "1")
    assert one == other and hash(one) == hash(other)
    other.add_attribute("a", "2")
    assert one != other and hash(one) != hash(other)


@pytest.mark.parametrize(("make", "other"), [
    (lambda: LangAlt("a"), LangAlt("b")), (lambda: XmpArray(XmpArrayType.ORDERED, ["a"]),
                                           XmpArray(XmpArrayType.ORDERED)),
    (lambda: XmpArray(XmpArrayType.UNORDERED, ["a"]), XmpArray(XmpArrayType.ORDERED, ["a"])),
    (lambda: XmpMeta("a"), XmpMeta("b")), (lambda: XmpHeaderPi("a"), XmpHeaderPi("b")),
    (lambda: XmpTrailerPi(True), XmpTrailerPi(False)), (lambda: Rational(1, 3), Rational(1, 4)),
    (lambda: XmpInteger(1), XmpInteger(2)), (lambda: Font("a"), Font("b"))])
def test_what_is_equal_has_one_hash(make: Callable[[], Any], other: Any) -> None:
    assert make() == make() and hash(make()) == hash(make())
    assert make() != other and hash(make()) != hash(other)
    assert other != LangAlt("x") and other != XmpReal(1.0)


def test_texts_of_values() -> None:
    assert (str(LangAlt()), str(LangAlt("Title"))) == ("", "Title")
    texts = LangAlt()
    texts.add_language("de", "Titel")
    texts.add_language("x-default", "Title")
    assert str(texts) == "Title"
    assert (str(Rational(1, 25)), str(XmpReal(0.5)), str(AudioSampleType.packed)) == ("1/25", "0.5", "Packed")
    for value in (Font("Serif"), ColorantRgb(1, 2, 3), Version()):
        assert str(value) == value.get_xmp_representation()


def test_structures_of_which_little_is_set() -> None:
    graphics = 'xmlns:xmpG="http://ns.adobe.com/xap/1.0/g/"'
    for made, values in ((ColorantCmyk(), "<xmpG:cyan>0</xmpG:cyan><xmpG:magenta>0</xmpG:magenta><xmpG:yellow>0"
                                          "</xmpG:yellow><xmpG:black>0</xmpG:black>"),
                         (ColorantLab(), "<xmpG:L>0</xmpG:L><xmpG:A>0</xmpG:A><xmpG:B>0</xmpG:B>"),
                         (ColorantRgb(), "<xmpG:red>0</xmpG:red><xmpG:green>0</xmpG:green><xmpG:blue>0</xmpG:blue>")):
        mode = made.mode.name
        assert made.get_xmp_representation() == (f"<rdf:Description {graphics}><xmpG:mode>{mode}</xmpG:mode><xmpG:type>"
                                                 f"PROCESS</xmpG:type>{values}</rdf:Description>")
    assert ResourceRef().get_xmp_representation() == (
        '<rdf:Description xmlns:stRef="http://ns.adobe.com/xap/1.0/sType/ResourceRef#"/>')
    for prefix, uri in ((None, None), ("p", None), (None, "u")):
        assert ComplexTypeBase(prefix, uri).get_xmp_representation() == "<rdf:Description/>"
    assert ComplexTypeBase("p", "a&b").get_xmp_representation() == '<rdf:Description xmlns:p="a&amp;b"/>'
    assert Timecode(None, None).get_xmp_representation() == (
        '<rdf:Description xmlns:xmpDM="http://ns.adobe.com/xmp/1.0/DynamicMedia/"/>')
    assert [RenditionClass(*parts).get_xmp_representation() for parts in (
        ("proof", "jpg"), ("proof", ""), ("proof", None), (None, "jpg"), ("a<", "b&"))] == [
        "proof:jpg", "proof", "proof", "jpg", "a&lt;:b&amp;"]


def test_dates_that_are_changed() -> None:
    for old, new in (("2023", "2024"), ("2023-06", "2024-02"), ("2023-06-01", "2024-02-29"),
                     ("2023-06-01T12:30", "2024-02-29T01:02"), ("2023-06-01T12:30Z", "2024-02-29T01:02"),
                     ("2023-06-01T12:30:00", "2024-02-29T01:02:03.5"),
                     ("2023-06-01T12:30:00+02:00", "2024-02-29T01:02:03.5"),
                     ("2023-06-01T12:30:00.1", "2024-02-29T01:02:03.5")):
        date = XmpDate(old)
        date.value = datetime.datetime(2024, 2, 29, 1, 2, 3, 500_000)
        assert date.get_xmp_representation() == new
    for old, new in (("2023-06-01T12:30+02:00", "2023-06-01T10:30Z"), ("2023-06-01T12:30", "2023-06-01T10:30"),
                     ("2023-06-01T12:30:00", "2023-06-01T10:30:00Z")):
        date = XmpDate(old)
        date.value = MOMENT
        assert date.get_xmp_representation() == new


@pytest.mark.parametrize(("text", "prefix", "value"), [
    ("00112233445566778899aAbBcCdDeEfF", "uuid", "00112233-4455-6677-8899-aabbccddeeff"),
    ("xmp.iid:0011-2233445566778899aabbccddeef9", "xmp.iid", "00112233-4455-6677-8899-aabbccddeef9"),
    ("a:b:00000000-0000-0000-0000-000000000000", "a:b", "00000000-0000-0000-0000-000000000000")])
def test_identifiers(text: str, prefix: str, value: str) -> None:
    guid = XmpGuid(text)
    assert (guid.prefix, guid.value, guid.get_xmp_representation()) == (prefix, value, f"{prefix}:{value}")


@pytest.mark.parametrize("last", ["", "ff0", "fg", "fG", "f/", "f:", "f@", "f`", "f "])
def test_texts_that_are_no_identifiers(last: str) -> None:
    text = "00112233445566778899aabbccddee" + last
    with managed_error("FormatException", f"'{text}' is not an identifier of 32 hexadecimal digits."):
        XmpGuid(text)


@pytest.mark.parametrize(("make", "text", "error", "message"), [
    (XmpInteger, "9223372036854775808", "OverflowException", "too large or too small for an integer."),
    (XmpInteger, "-9223372036854775809", "OverflowException", "too large or too small for an integer."),
    (XmpReal, "1e39", "OverflowException", "too large or too small for a real number."),
    *[(XmpInteger, text, "FormatException", "not an integer.") for text in ("", "1 ", " 1", "+1", "1.0", "0x1", "a")],
    *[(XmpReal, text, "FormatException", "not a real number.") for text in ("", "1,5", "1 ", "a")],
    *[(XmpBoolean, text, "FormatException", "not a truth value; XMP has True and False.")
      for text in ("", "1", "yes", "tru", "true ", "trueA")]])
def test_texts_that_are_no_values(make: Any, text: str, error: str, message: str) -> None:
    with managed_error(error, f"'{text}' is {message}"):
        make(text)


def test_texts_that_are_values() -> None:
    assert [XmpBoolean(text).value for text in ("TRUE", "true", "tRuE", "FALSE", "False")] == [True] * 3 + [False] * 2
    assert [XmpInteger(text).value for text in ("9223372036854775807", "-9223372036854775808", "007")] == [
        2 ** 63 - 1, -2 ** 63, 7]
    assert [XmpReal(text).value for text in ("-2.5", "1e3", ".5")] == [-2.5, 1000.0, 0.5]


def test_identifiers_of_documents() -> None:
    package = XmpMediaManagementPackage()
    for setter, key in ((package.set_document_id, "DocumentID"), (package.set_instance_id, "InstanceID"),
                        (package.set_original_document_id, "OriginalDocumentID")):
        setter("x&y")
        assert package.get_prop_value(key) == "x&y"
    reference = ResourceRef()
    reference.alternate_paths = ["a", "b<"]
    package.set_derived_from(reference)
    assert ("<stRef:alternatePaths><rdf:Seq><rdf:li>a</rdf:li><rdf:li>b&lt;</rdf:li></rdf:Seq></stRef:alternatePaths>"
            in package.get_xml_value())


@pytest.mark.parametrize(("kind", "name", "word"), [
    *[(AudioChannelType, name, word) for name, word in (
        ("mono", "Mono"), ("stereo", "Stereo"), ("audio51", "5.1"), ("audio71", "7.1"),
        ("audio_16_channel", "16 Channel"), ("other_channel", "Other"))],
    *[(AudioSampleType, name, word) for name, word in (
        ("sample_8_int", "8Int"), ("sample_16_int", "16Int"), ("sample_24_int", "24Int"), ("sample_32_int", "32Int"),
        ("sample_32_float", "32Float"), ("compressed", "Compressed"), ("packed", "Packed"))],
    *[(TimeFormat, name, word) for name, word in (
        ("timecode24", "24Timecode"), ("timecode25", "25Timecode"), ("drop_timecode2997", "2997DropTimecode"),
        ("non_drop_timecode2997", "2997NonDropTimecode"), ("timecode30", "30Timecode"), ("timecode50", "50Timecode"),
        ("drop_timecode5994", "5994DropTimecode"), ("non_drop_timecode5994", "5994NonDropTimecode"),
        ("timecode60", "60Timecode"), ("timecode23976", "23976Timecode"))]])
def test_words_that_are_ready(kind: Any, name: str, word: str) -> None:
    """They are the words of the published format, each with one object."""
    ready = getattr(kind, name)
    assert (type(ready), str(ready)) == (kind, word)
    assert ready == getattr(kind, name)
    package = XmpDynamicMediaPackage()
    package.set_prop_value("word", ready)
    assert f"<xmpDM:word>{word}</xmpDM:word>" in package.get_xml_value()
    if kind is TimeFormat:
        assert Timecode(ready, "0").get_xmp_representation().partition(">")[2].startswith(
            f"<xmpDM:timeFormat>{word}</xmpDM:timeFormat>")
    else:
        getattr(package, "set_audio_channel_type" if kind is AudioChannelType else "set_audio_sample_type")(ready)
        key = "audioChannelType" if kind is AudioChannelType else "audioSampleType"
        assert package.get_prop_value(key) == word
