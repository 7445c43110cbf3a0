"""EXIF and XMP of image files: written by Pillow and read by us, and the other way round."""

from __future__ import annotations

import datetime
import io
import struct
import zlib

import pytest
from PIL import Image, ImageSequence, TiffImagePlugin
from zelmor.imaging import Image as ManagedImage
from zelmor.imaging import RasterImage
from zelmor.imaging.exif import ExifData, JpegExifData
from zelmor.imaging.exif.enums import ExifOrientation
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.fileformats.tiff import TiffImage, TiffRational
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.fileformats.tiff.tifftagtypes import TiffASCIIType
from zelmor.imaging.imageoptions import (BigTiffOptions, BmpOptions, GifOptions, JpegOptions, PngOptions, TiffOptions,
                                         WebPOptions)
from zelmor.imaging.xmp import LangAlt, Namespaces, XmpArray, XmpPacketWrapper
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage
from zelmor.imaging.xmp.schemas.xmpbaseschema import XmpBasicPackage
from zelmor.imaging.xmp.types.complex import ComplexTypeBase
from zelmor.imaging.xmp.types.complex.resourceref import ResourceRef

EXIF_IFD = 34665
PACKET = """<?xpacket begin="\ufeff" id="W5M0MpCehiHzreSzNTczkc9d"?>
<x:xmpmeta xmlns:x="adobe:ns:meta/" x:xmptk="Some toolkit">
 <rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">
  <rdf:Description rdf:about="" xmlns:dc="http://purl.org/dc/elements/1.1/" xmlns:xmp="http://ns.adobe.com/xap/1.0/"
    xmlns:xmpMM="http://ns.adobe.com/xap/1.0/mm/" xmlns:stRef="http://ns.adobe.com/xap/1.0/sType/ResourceRef#"
    xmlns:own="http://example.org/own/" xmp:Rating="3" xmp:CreatorTool="A &amp; B">
   <dc:title><rdf:Alt><rdf:li xml:lang="x-default">Title</rdf:li>
    <rdf:li xml:lang="de">Titel</rdf:li></rdf:Alt></dc:title>
   <dc:subject><rdf:Bag><rdf:li>one</rdf:li><rdf:li>two</rdf:li></rdf:Bag></dc:subject>
   <xmpMM:DerivedFrom stRef:documentID="uuid:1" stRef:instanceID="uuid:2"/>
   <own:shape rdf:parseType="Resource"><own:side>3</own:side><own:side2>4</own:side2></own:shape>
   <own:plain xml:lang="en">words</own:plain>
   <own:list><rdf:Seq><rdf:li rdf:parseType="Resource"><own:a>1</own:a></rdf:li></rdf:Seq></own:list>
   <own:link rdf:resource="http://example.org/"/>
   <own:measured><rdf:Description><rdf:value>7</rdf:value><own:unit>m</own:unit></rdf:Description></own:measured>
  </rdf:Description>
 </rdf:RDF>
</x:xmpmeta>
<?xpacket end="r"?>"""


def pillow_exif() -> Image.Exif:
    exif = Image.Exif()
    exif[271], exif[274], exif[305] = "Maker", 6, "Pillow"
    exif[282], exif[283], exif[296] = 96.0, 96.0, 2
    exif[EXIF_IFD] = {33437: 2.8, 40962: 40, 40963: 30, 37500: b"a note"}
    return exif


def picture() -> Image.Image:
    image = Image.new("RGB", (40, 30), (200, 10, 10))
    image.putpixel((3, 4), (10, 200, 10))
    return image


def encoded(kind: str, image: Image.Image | None = None, **options: object) -> io.BytesIO:
    file = io.BytesIO()
    (image or picture()).save(file, kind, **options)
    file.seek(0)
    return file


def loaded(file: io.BytesIO, kind: type = RasterImage) -> object:
    file.seek(0)
    return kind._cast_to(ManagedImage.load(file)).value


def saved(image: object, options: object = None) -> io.BytesIO:
    file = io.BytesIO()
    image.save(file, options) if options else image.save(file)
    file.seek(0)
    return file


def with_jpeg_xmp(file: io.BytesIO, packet: bytes) -> io.BytesIO:
    body = b"http://ns.adobe.com/xap/1.0/\0" + packet
    data = file.getvalue()
    return io.BytesIO(data[:2] + b"\xff\xe1" + struct.pack(">H", len(body) + 2) + body + data[2:])


def jpeg_xmp(file: io.BytesIO) -> bytes:
    """The packet of a JPEG, found by Pillow."""
    with Image.open(file) as image:
        for name, content in image.applist:
            if name == "APP1" and content.startswith(b"http://ns.adobe.com/xap/1.0/\0"):
                return content.split(b"\0", 1)[1]
    return b""


def every_format() -> list:
    return [("JPEG", JpegOptions()), ("PNG", PngOptions()), ("WEBP", WebPOptions()),
            ("TIFF", TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)),
            ("TIFF", BigTiffOptions(TiffExpectedFormat.TIFF_LZW_RGB))]


def same_pixels(file: io.BytesIO) -> bool:
    with Image.open(file) as image:
        return image.convert("RGB").tobytes() == picture().tobytes()


def title_packet(text: str = "Title") -> XmpPacketWrapper:
    packet, package = XmpPacketWrapper(), DublinCorePackage()
    package.set_title(text)
    packet.add_package(package)
    return packet


def test_an_image_without_metadata_has_none() -> None:
    image = loaded(encoded("JPEG"), JpegImage)
    assert image.exif_data is None and image.xmp_data is None


def test_exif_of_a_jpeg_is_read_and_changed() -> None:
    image = loaded(encoded("JPEG", exif=pillow_exif()), JpegImage)
    exif = image.exif_data
    assert isinstance(exif, JpegExifData)
    assert (exif.make, exif.orientation) == ("Maker", ExifOrientation.RIGHT_TOP)
    assert exif.f_number.value == pytest.approx(2.8)
    exif.make = "Other"
    assert image.exif_data.make == "Other"
    with Image.open(saved(image, JpegOptions())) as read:
        assert read.getexif()[271] == "Other"
        assert float(read.getexif().get_ifd(EXIF_IFD)[33437]) == pytest.approx(2.8)


def test_unchanged_exif_is_written_byte_by_byte() -> None:
    file = encoded("JPEG", exif=pillow_exif())
    with Image.open(file) as read:
        before = read.info["exif"]
    for touch in (False, True):
        image = loaded(file, JpegImage)
        if touch:
            assert image.exif_data.make == "Maker"
        for options in (None, JpegOptions()):
            with Image.open(saved(image, options)) as read:
                assert read.info["exif"] == before


@pytest.mark.parametrize("kind", ["JPEG", "PNG", "WEBP"])
def test_exif_goes_from_format_to_format(kind: str) -> None:
    for target, options in every_format():
        file = saved(loaded(encoded(kind, exif=pillow_exif())), options)
        with Image.open(file) as read:
            assert read.format == target
            exif = read.getexif()
            assert (exif[271], exif[274]) == ("Maker", 6)
            assert float(exif.get_ifd(EXIF_IFD)[33437]) == pytest.approx(2.8)
            assert exif.get_ifd(EXIF_IFD)[37500] == b"a note"


def test_sizes_follow_the_picture() -> None:
    image = loaded(encoded("JPEG", exif=pillow_exif()), JpegImage)
    image.resize(20, 10)
    with Image.open(saved(image, JpegOptions())) as read:
        inner = read.getexif().get_ifd(EXIF_IFD)
        assert (inner[40962], inner[40963]) == (20, 10)
    assert image.exif_data.pixel_x_dimension == 40


def test_exif_of_a_tiff() -> None:
    file = encoded("TIFF", exif=pillow_exif().tobytes())
    image = loaded(file, TiffImage)
    exif = image.exif_data
    assert isinstance(exif, ExifData)
    assert (exif.make, exif.f_number.value) == ("Maker", pytest.approx(2.8))
    with Image.open(saved(image, JpegOptions())) as read:
        assert read.getexif()[305] == "Pillow"
        assert float(read.getexif().get_ifd(EXIF_IFD)[33437]) == pytest.approx(2.8)
    exif.make = "Other"
    with Image.open(saved(image, TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB))) as read:
        assert read.getexif()[271] == "Other"
        assert read.getexif().get_ifd(EXIF_IFD)[37500] == b"a note"


def test_metadata_can_be_taken_away() -> None:
    file = with_jpeg_xmp(encoded("JPEG", exif=pillow_exif()), PACKET.encode())
    image = loaded(file, JpegImage)
    image.exif_data = None
    image.xmp_data = None
    written = saved(image, JpegOptions())
    with Image.open(written) as read:
        assert 271 not in read.getexif() and "exif" not in read.info
    assert jpeg_xmp(written) == b""


def test_options_go_before_the_image() -> None:
    image = loaded(encoded("JPEG", exif=pillow_exif()), JpegImage)
    image.xmp_data = title_packet("of the image")
    options = JpegOptions()
    options.exif_data = JpegExifData()
    options.exif_data.make = "of the options"
    options.xmp_data = title_packet("of the options")
    written = saved(image, options)
    with Image.open(written) as read:
        assert read.getexif()[271] == "of the options" and EXIF_IFD not in read.getexif()
    assert b"of the options" in jpeg_xmp(written)
    assert image.exif_data.make == "Maker"


def test_xmp_is_written_into_every_format() -> None:
    for target, options in every_format() + [("GIF", GifOptions())]:
        image = loaded(encoded("PNG"))
        image.xmp_data = title_packet("Title & <more>")
        written = saved(image, options)
        if target not in ("JPEG", "GIF"):
            assert same_pixels(written)
        back = loaded(written).xmp_data
        package = back.get_package(Namespaces.DUBLIN_CORE)
        assert package.get_prop_value("title") == LangAlt("Title & <more>")
        again = saved(loaded(written), options)
        assert loaded(again).xmp_data.packages_count == 1
    with Image.open(saved(image, PngOptions())) as read:
        assert "Title &amp; &lt;more>" in read.info["XML:com.adobe.xmp"].replace("&gt;", ">")
    image = loaded(encoded("PNG"))
    image.xmp_data = title_packet()
    assert saved(image, BmpOptions()).getvalue()[:2] == b"BM"


def test_every_form_of_rdf_is_read() -> None:
    image = loaded(with_jpeg_xmp(encoded("JPEG"), PACKET.encode()), JpegImage)
    for _ in range(2):
        packet = image.xmp_data
        assert packet.meta.adobe_xmp_toolkit == "Some toolkit"
        assert not packet.trailer_pi.is_writable
        assert packet.packages_count == 4
        basic = packet.get_package(Namespaces.XMP_BASIC)
        assert (basic.get_prop_value("Rating"), basic.get_prop_value("CreatorTool")) == ("3", "A & B")
        core = packet.get_package(Namespaces.DUBLIN_CORE)
        title = LangAlt("Title")
        title.add_language("de", "Titel")
        assert core.get_prop_value("title") == title
        subject = core.get_prop_value("subject")
        assert isinstance(subject, XmpArray) and list(subject.values) == ["one", "two"]
        derived = packet.get_package(Namespaces.XMP_MM).get_prop_value("DerivedFrom")
        assert isinstance(derived, ResourceRef)
        assert (derived.document_uri, derived.instance_id) == ("uuid:1", "uuid:2")
        own = packet.get_package("http://example.org/own/")
        shape = own.get_prop_value("shape")
        assert isinstance(shape, ComplexTypeBase) and shape.namespace_uri == "http://example.org/own/"
        assert "<own:side>3</own:side>" in shape.get_xmp_representation()
        assert own.get_prop_value("link") == "http://example.org/"
        assert '<own:plain xml:lang="en">words</own:plain>' in own.get_xml_value()
        assert "<rdf:value>7</rdf:value><own:unit>m</own:unit>" in own.get_xml_value()
        assert "<own:a>1</own:a>" in own.get_xml_value()
        # Once more from the file that is written from it.
        image = loaded(saved(image, JpegOptions()), JpegImage)


def test_an_unchanged_packet_is_written_byte_by_byte() -> None:
    packet = PACKET.encode()
    image = loaded(with_jpeg_xmp(encoded("JPEG"), packet), JpegImage)
    assert jpeg_xmp(saved(image, JpegOptions())) == packet
    with Image.open(saved(image, PngOptions())) as read:
        assert read.info["XML:com.adobe.xmp"] == PACKET


@pytest.mark.parametrize(("packet", "error"), [
    (b"<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF>", "XmlException"),
    (b"no xml at all", "XmlException"), (b"<a/>", "InvalidOperationException"),
    (b"<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>", "XmlException.*document type"),
    (b"<a>" * 300 + b"</a>" * 300, "XmlException.*deep"), (b"<a>\xff\xfe</a>", "XmlException")])
def test_damaged_packets_harm_nobody(packet: bytes, error: str) -> None:
    image = loaded(with_jpeg_xmp(encoded("JPEG"), packet), JpegImage)
    for _ in range(2):
        with pytest.raises(RuntimeError, match=error):
            image.xmp_data
    assert jpeg_xmp(saved(image, JpegOptions())) == packet
    image.xmp_data = title_packet()
    assert b"Title" in jpeg_xmp(saved(image, JpegOptions()))


def test_damaged_exif_harms_nobody() -> None:
    file = encoded("JPEG", exif=pillow_exif())
    whole = file.getvalue()
    start = whole.index(b"Exif\0\0") + 6
    length = struct.unpack(">H", whole[start - 8:start - 6])[0] - 8
    for at in range(0, length, 3):
        for byte in (0, 255):
            damaged = bytearray(whole)
            damaged[start + at] = byte
            image = loaded(io.BytesIO(bytes(damaged)), JpegImage)
            try:
                exif = image.exif_data
            except RuntimeError as error:
                assert "FormatException" in str(error)
            else:
                assert len(list(exif.properties)) < 40
            assert saved(image, JpegOptions()).getvalue()[:2] == b"\xff\xd8"


def test_what_is_too_long_for_a_jpeg_is_refused() -> None:
    image = loaded(encoded("JPEG"), JpegImage)
    image.exif_data = JpegExifData()
    image.exif_data.image_description = "x" * 70000
    with pytest.raises(RuntimeError, match="ArgumentException.*The EXIF data has .* has room for 65527"):
        saved(image, JpegOptions())
    image.exif_data = None
    image.xmp_data = title_packet("x" * 70000)
    with Image.open(saved(image, PngOptions())) as read:
        assert len(read.info["XML:com.adobe.xmp"]) > 70000


def test_a_thumbnail_is_an_image() -> None:
    image = loaded(encoded("JPEG"), JpegImage)
    image.exif_data = JpegExifData()
    assert image.exif_data.thumbnail is None
    image.exif_data.thumbnail = loaded(encoded("PNG", picture().resize((16, 12))))
    back = loaded(saved(image, JpegOptions()), JpegImage).exif_data.thumbnail
    assert (back.width, back.height) == (16, 12)
    image.exif_data.thumbnail = None
    assert loaded(saved(image, JpegOptions()), JpegImage).exif_data is None


def test_texts_of_tiff_options_are_in_the_file() -> None:
    image = loaded(encoded("PNG"))
    for options in (TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB), BigTiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)):
        options.artist, options.copyright, options.xp_title = "Me", "Mine", "Titel"
        own = TiffASCIIType(65000)
        own.text = "a tag of one's own"
        options.add_tag(own)
        written = saved(image, options)
        assert same_pixels(written)
        with Image.open(written) as read:
            tags = read.tag_v2
            assert (tags[315], tags[33432], tags[65000]) == ("Me", "Mine", "a tag of one's own")
            assert bytes(tags[40091]).decode("utf-16-le") == "Titel\0"


def test_pages_keep_their_place() -> None:
    pages = [Image.new("RGB", (20, 10), color) for color in ("red", "green", "blue")]
    file = encoded("TIFF", pages[0], save_all=True, append_images=pages[1:])
    image = loaded(file, TiffImage)
    image.xmp_data = title_packet()
    with Image.open(saved(image)) as read:
        colors = [page.convert("RGB").getpixel((1, 1)) for page in ImageSequence.Iterator(read)]
        assert colors == [(255, 0, 0), (0, 128, 0), (0, 0, 255)]
        read.seek(0)
        assert b"Title" in read.tag_v2[700]


def test_a_packet_made_from_nothing() -> None:
    image = loaded(encoded("PNG"))
    packet, package = XmpPacketWrapper(), XmpBasicPackage("mine", "http://example.org/mine/")
    package.add_value("key", "value")
    packet.add_package(package)
    image.xmp_data = packet
    assert image.xmp_data == packet
    back = loaded(saved(image, WebPOptions())).xmp_data.get_package("http://example.org/mine/")
    assert (back.prefix, back.get_prop_value("key")) == ("mine", "value")


def test_chunks_of_png_have_good_checksums() -> None:
    image = loaded(encoded("JPEG", exif=pillow_exif()))
    image.xmp_data = title_packet()
    data = saved(image, PngOptions()).getvalue()
    at, names = 8, []
    while at < len(data):
        length, = struct.unpack_from(">I", data, at)
        names.append(data[at + 4:at + 8])
        assert zlib.crc32(data[at + 4:at + 8 + length]) == struct.unpack_from(">I", data, at + 8 + length)[0]
        at += length + 12
    assert names[0] == b"IHDR" and names[-1] == b"IEND"
    assert names.count(b"eXIf") == 1 and names.count(b"iTXt") == 1
    assert names.index(b"eXIf") < names.index(b"IDAT")


@pytest.mark.parametrize(("name", "head"), [(b"zTXt", b"\0"), (b"iTXt", b"\1\0\0\0"), (b"tEXt", None)])
def test_packets_in_other_chunks_of_png_are_read(name: bytes, head: bytes | None) -> None:
    packet = PACKET.encode()
    body = b"XML:com.adobe.xmp\0" + (packet if head is None else head + zlib.compress(packet))
    chunk = struct.pack(">I", len(body)) + name + body + struct.pack(">I", zlib.crc32(name + body))
    data = encoded("PNG").getvalue()
    image = loaded(io.BytesIO(data[:33] + chunk + data[33:]))
    with Image.open(saved(image, PngOptions())) as read:
        assert read.info["XML:com.adobe.xmp"] == PACKET
    assert image.xmp_data.packages_count == 4
    broken = loaded(io.BytesIO(data[:33] + chunk[:40] + bytes(len(chunk) - 40) + data[33:]))
    if head is not None:
        assert broken.xmp_data is None


def test_a_bitmap_has_no_place_for_a_packet() -> None:
    options = BmpOptions()
    options.xmp_data = title_packet()
    with pytest.raises(RuntimeError, match="NotSupportedException.*XmpData"):
        saved(loaded(encoded("PNG")), options)


def test_resolution_in_exif_follows_the_image() -> None:
    image = loaded(encoded("JPEG", exif=pillow_exif(), dpi=(96, 96)), JpegImage)
    image.set_resolution(300.0, 150.0)
    with Image.open(saved(image, JpegOptions())) as read:
        assert (float(read.getexif()[282]), float(read.getexif()[283])) == (300.0, 150.0)
    assert image.exif_data.x_resolution == TiffRational(96, 1)


SIZES = ('<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">'
         '<rdf:Description rdf:about="" xmlns:tiff="http://ns.adobe.com/tiff/1.0/"'
         ' xmlns:exif="http://ns.adobe.com/exif/1.0/"'
         ' xmlns:xmp="http://ns.adobe.com/xap/1.0/" tiff:ImageWidth="40" exif:PixelYDimension="30" xmp:Rating="3"'
         ' xmp:ModifyDate="2001-02-03T04:05:06Z"/></rdf:RDF></x:xmpmeta>')


@pytest.mark.parametrize("options", [JpegOptions, PngOptions, WebPOptions])
def test_a_packet_is_brought_up_to_date(options: type) -> None:
    image = loaded(with_jpeg_xmp(encoded("JPEG"), SIZES.encode()))
    assert image.update_xmp_data is False
    image.resize(20, 15)
    kept = loaded(saved(image, options())).xmp_data
    basic = kept.get_package(Namespaces.XMP_BASIC)
    assert str(basic.get_prop_value("xmp:ModifyDate")).startswith("2001-02-03")
    assert not basic.contains_key("xmp:MetadataDate")
    image.update_xmp_data = True
    before = datetime.datetime.now(datetime.timezone.utc).replace(microsecond=0)
    updated = loaded(saved(image, options())).xmp_data
    basic = updated.get_package(Namespaces.XMP_BASIC)
    for name in ("xmp:ModifyDate", "xmp:MetadataDate"):
        written = datetime.datetime.fromisoformat(str(basic.get_prop_value(name)).replace("Z", "+00:00"))
        assert before <= written <= datetime.datetime.now(datetime.timezone.utc)
    assert str(basic.get_prop_value("xmp:Rating")) == "3"
    assert str(updated.get_package("http://ns.adobe.com/tiff/1.0/").get_prop_value("tiff:ImageWidth")) == "20"
    assert str(updated.get_package("http://ns.adobe.com/exif/1.0/").get_prop_value("exif:PixelYDimension")) == "15"
    own = image.xmp_data.get_package(Namespaces.XMP_BASIC)
    assert str(own.get_prop_value("xmp:ModifyDate")).startswith("2001-02-03")


def test_no_packet_is_made_up() -> None:
    image = loaded(encoded("PNG"))
    image.update_xmp_data = True
    assert loaded(saved(image, PngOptions())).xmp_data is None


#: Tags of a TIFF page that describe its picture, and some that belong to the page or the file.
DESCRIBING = {269: "DocumentName", 270: "ImageDescription", 271: "Make", 272: "Model", 305: "Software",
              306: "2024:05:06 07:08:09", 315: "Artist", 316: "HostComputer", 33432: "Copyright"}
OF_THE_PAGE = {285: "PageName", 333: "InkNames", 337: "TargetPrinter", 65000: "a tag of one's own", 268: "unknown",
               267: "unknown", 307: "unknown", 314: "unknown", 33431: "unknown", 33433: "unknown"}


def test_which_tags_of_a_page_are_exif_data_of_another_file() -> None:
    info = TiffImagePlugin.ImageFileDirectory_v2()
    for tag, text in {**DESCRIBING, **OF_THE_PAGE}.items():
        info[tag], info.tagtype[tag] = text, 2
    info[274] = 6
    file = io.BytesIO()
    picture().save(file, "TIFF", tiffinfo=info)
    image = loaded(io.BytesIO(file.getvalue()))
    for options in (JpegOptions(), PngOptions(), WebPOptions()):
        with Image.open(saved(image, options)) as read:
            found = dict(read.getexif())
        texts = {tag: value for tag, value in found.items() if isinstance(value, str)}
        assert texts == DESCRIBING
        assert found[274] == 6
