"""EXIF data: named properties are views of tags, and the bytes can be read by other programs."""

from __future__ import annotations

import datetime
import decimal
import struct
import uuid
from typing import Any

import pytest
from PIL import Image
from zelmor.imaging.exif import ExifData, ExifProperties, JpegExifData
from zelmor.imaging.exif import enums
from zelmor.imaging.exif.enums import ExifUnit
from zelmor.imaging.fileformats.tiff import TiffRational, TiffSRational
from zelmor.imaging.fileformats.tiff.tifftagtypes import (TiffASCIIType, TiffByteType, TiffLongType, TiffRationalType,
                                                          TiffShortType, TiffUndefinedType)

EXIF_IFD, GPS_IFD = 34665, 34853
TEXTS = ["body_serial_number", "camera_owner_name", "date_time_digitized", "date_time_original",
         "gps_dest_bearing_ref", "gps_dest_distance_ref", "gps_dest_latitude_ref", "gps_dest_longitude_ref",
         "gps_img_direction_ref", "gps_date_stamp", "gps_latitude_ref", "gps_longitude_ref", "gps_map_datum",
         "gps_measure_mode", "gps_satellites", "gps_speed_ref", "gps_status", "gps_track_ref", "image_unique_id",
         "lens_make", "lens_model", "lens_serial_number", "make", "related_sound_file", "spectral_sensitivity",
         "subsec_time", "subsec_time_digitized", "subsec_time_original", "user_comment"]
JPEG_TEXTS = ["artist", "copyright", "date_time", "image_description", "model", "software"]
BYTES = ["cfa_pattern", "components_configuration", "device_setting_description", "exif_version", "flashpix_version",
         "gps_area_information", "gps_processing_method", "gps_version_id", "maker_note_raw_data", "oecf",
         "spatial_frequency_response"]
FRACTIONS = ["aperture_value", "compressed_bits_per_pixel", "digital_zoom_ratio", "exposure_index", "exposure_time",
             "f_number", "flash_energy", "focal_length", "focal_plane_x_resolution", "focal_plane_y_resolution",
             "gps_altitude", "gpsdop", "gps_dest_bearing", "gps_dest_distance", "gps_img_direction", "gps_speed",
             "gamma", "max_aperture_value", "subject_distance"]
SIGNED = ["brightness_value", "exposure_bias_value", "shutter_speed_value"]
NUMBERS = ["focal_length_in_35_mm_film", "gps_differential", "iso_speed", "iso_speed_latitude_yyy",
           "iso_speed_latitude_zzz", "photographic_sensitivity", "pixel_x_dimension", "pixel_y_dimension",
           "recommended_exposure_index", "scene_type", "sensitivity_type", "sharpness",
           "standard_output_sensitivity"]
JPEG_NUMBERS = ["compression", "image_length", "image_width", "photometric_interpretation", "planar_configuration",
                "samples_per_pixel"]
CHOICES = {"color_space": "ExifColorSpace", "contrast": "ExifContrast", "custom_rendered": "ExifCustomRendered",
           "exposure_mode": "ExifExposureMode", "exposure_program": "ExifExposureProgram",
           "file_source": "ExifFileSource", "flash": "ExifFlash", "focal_plane_resolution_unit": "ExifUnit",
           "gps_altitude_ref": "ExifGPSAltitudeRef", "gain_control": "ExifGainControl",
           "light_source": "ExifLightSource", "metering_mode": "ExifMeteringMode", "saturation": "ExifSaturation",
           "scene_capture_type": "ExifSceneCaptureType", "sensing_method": "ExifSensingMethod",
           "subject_distance_range": "ExifSubjectDistanceRange", "white_balance": "ExifWhiteBalance",
           "orientation": "ExifOrientation", "resolution_unit": "ExifUnit",
           "y_cb_cr_positioning": "ExifYCbCrPositioning"}
ARRAYS = {"gps_latitude": TiffRational, "gps_longitude": TiffRational, "gps_dest_latitude": TiffRational,
          "gps_dest_longitude": TiffRational, "gps_timestamp": TiffRational, "lens_specification": TiffRational,
          "gps_track": TiffRational, "white_point": TiffRational, "primary_chromaticities": TiffRational,
          "reference_black_white": TiffRational,
          "y_cb_cr_coefficients": TiffRational, "subject_area": int, "subject_location": int, "bits_per_sample": int,
          "transfer_function": int, "y_cb_cr_sub_sampling": int}


def by_pillow(data: JpegExifData) -> Image.Exif:
    """The data as Pillow reads it."""
    exif = Image.Exif()
    exif.load(bytes(data.serialize_exif_data()))
    return exif


@pytest.mark.parametrize("name", TEXTS + JPEG_TEXTS)
def test_text(name: str) -> None:
    data = JpegExifData()
    assert getattr(data, name) is None
    for text in ("plain", "Ä und 字", ""):
        setattr(data, name, text)
        assert getattr(data, name) == text
        assert len(list(data.properties)) == 1
    setattr(data, name, None)
    assert getattr(data, name) is None and len(list(data.properties)) == 0


@pytest.mark.parametrize("name", BYTES)
def test_bytes(name: str) -> None:
    data = JpegExifData()
    setattr(data, name, b"0231")
    assert bytes(getattr(data, name)) == b"0231"
    with pytest.raises(TypeError, match=r"^can't build byte\[\] from 'str'$"):
        setattr(data, name, "text")
    setattr(data, name, None)
    assert getattr(data, name) is None and len(list(data.properties)) == 0


@pytest.mark.parametrize("name", FRACTIONS + SIGNED + ["x_resolution", "y_resolution"])
def test_fractions(name: str) -> None:
    data = JpegExifData()
    assert getattr(data, name) is None
    value = TiffSRational(-1, 3) if name in SIGNED else TiffRational(1, 3)
    setattr(data, name, value)
    assert getattr(data, name) == value
    setattr(data, name, None)
    assert getattr(data, name) is None


@pytest.mark.parametrize("name", NUMBERS + JPEG_NUMBERS)
def test_numbers(name: str) -> None:
    data = JpegExifData()
    assert getattr(data, name) == 0
    for number in (0, 1, 255, 256, 65535, 65536, 2 ** 31 - 1, -1, -2 ** 31):
        setattr(data, name, number)
        assert getattr(data, name) == number
    assert len(list(data.properties)) == 1


@pytest.mark.parametrize(("name", "choice"), CHOICES.items())
def test_choices(name: str, choice: str) -> None:
    data = JpegExifData()
    kind = getattr(enums, choice)
    assert isinstance(getattr(data, name), kind)
    for member in kind:
        setattr(data, name, member)
        assert getattr(data, name) is member


@pytest.mark.parametrize(("name", "element"), ARRAYS.items())
def test_arrays(name: str, element: type) -> None:
    data = JpegExifData()
    values = [TiffRational(50, 1), TiffRational(1, 2)] if element is TiffRational else [8, 7]
    setattr(data, name, values)
    assert list(getattr(data, name)) == values
    digits = "C89B66BC" if element is TiffRational else "57AC8DC4"
    assert type(getattr(data, name)).__name__ == f"_ArrayWrapper_{digits}"
    with pytest.raises(TypeError, match="^can't build Array value from "):
        setattr(data, name, values[0])
    setattr(data, name, None)
    assert getattr(data, name) is None


def test_pillow_reads_what_was_set() -> None:
    for big_endian in (False, True):
        data = JpegExifData()
        data.is_big_endian = big_endian
        data.make, data.model = "Maker", "Model with a longer name"
        data.orientation = enums.ExifOrientation.RIGHT_TOP
        data.f_number = TiffRational(28, 10)
        data.exposure_bias_value = TiffSRational(-1, 3)
        data.photographic_sensitivity = 400
        data.exif_version = b"0231"
        data.gps_latitude = [TiffRational(50, 1), TiffRational(30, 1), TiffRational(1, 2)]
        data.gps_latitude_ref = "N"
        data.gps_version_id = bytes([2, 3, 0, 0])
        read = by_pillow(data)
        assert read.endian == (">" if big_endian else "<")
        assert (read[271], read[272], read[274]) == ("Maker", "Model with a longer name", 6)
        inner = read.get_ifd(EXIF_IFD)
        assert (float(inner[33437]), float(inner[37380])) == pytest.approx((2.8, -1 / 3))
        assert (inner[34855], inner[36864]) == (400, b"0231")
        gps = read.get_ifd(GPS_IFD)
        assert [float(part) for part in gps[2]] == [50.0, 30.0, 0.5]
        assert (gps[1], gps[0]) == ("N", b"\x02\x03\0\0")


def test_directories_are_sorted_and_even() -> None:
    data = JpegExifData()
    data.software, data.artist, data.make = "odd", "four", "seven77"
    raw = bytes(data.serialize_exif_data())
    assert raw[:6] == b"Exif\0\0" and raw[6:10] == b"II*\0"
    tiff = raw[6:]
    count, = struct.unpack_from("<H", tiff, 8)
    entries = [struct.unpack_from("<HHII", tiff, 10 + 12 * index) for index in range(count)]
    assert [entry[0] for entry in entries] == [271, 305, 315]
    assert all(entry[3] % 2 == 0 for entry in entries if entry[2] > 4)


def test_tags_belong_to_directories() -> None:
    make, exposure, latitude = TiffASCIIType(271), TiffRationalType(33434), TiffRationalType(2)
    make.text, exposure.value, latitude.value = "Maker", TiffRational(1, 60), TiffRational(50, 1)
    for kind in (ExifData, JpegExifData):
        data = kind([make, exposure, latitude])
        assert [tag.id for tag in data.common_tags] == [271]
        assert [tag.id for tag in data.exif_tags] == [33434]
        assert [tag.id for tag in data.gps_tags] == [2]
        assert (data.make, data.exposure_time) == ("Maker", TiffRational(1, 60))
        same = kind([make], [exposure], [latitude])
        assert [tag.id for tag in same.properties] == [271, 33434, 2]
        data.properties = [make]
        assert data.exposure_time is None and data.make == "Maker"
        data.common_tags = None
        assert list(data.properties) == []
        with pytest.raises(RuntimeError, match="can't build TiffDataType value from 'str'"):
            data.exif_tags = ["text"]


@pytest.mark.parametrize(("value", "name"), [
    (-1, "Int32"), (2**40, "Int64"), (2**63, "UInt64"), (1.5, "Double"), (True, "Boolean"), (b"ab", "Byte\\[\\]"),
    (decimal.Decimal("1.5"), "Decimal"), (datetime.timedelta(1), "TimeSpan"), (uuid.UUID(int=7), "Guid"),
    (datetime.datetime(2000, 1, 1), "DateTime")])
def test_a_refusal_names_the_types(value: Any, name: str) -> None:
    make = TiffASCIIType(271)
    with pytest.raises(RuntimeError, match=rf"^Proxy error\(InvalidCastException\): Unable to cast object of type "
                                           rf"'System.{name}' to type 'System.String'\.$"):
        make.value = value
    assert make.value is None


def test_what_a_tag_is_changed_to_shows() -> None:
    make = TiffASCIIType(271)
    make.text = "before"
    data = ExifData([make])
    make.text = "after"
    assert data.make == "after"


def test_tags_are_removed() -> None:
    data = ExifData()
    data.make, data.f_number, data.gps_status = "Maker", TiffRational(2, 1), "A"
    data.remove_tag(ExifProperties.MAKE)
    assert data.make is None
    data.remove_tag(33437)
    assert data.f_number is None
    data.remove_tag_id(9)
    assert list(data.properties) == []
    data.remove_tag_id(9)


def test_maker_notes_are_bytes() -> None:
    data = ExifData()
    assert list(data.maker_notes) == [] and list(data.maker_note_data) == []
    data.maker_note_raw_data = b"something of the maker's"
    assert [bytes(tag.value) for tag in data.maker_note_data] == [b"something of the maker's"]
    note, = data.maker_notes
    assert (note.name, bytes.fromhex(note.value)) == ("something", b"something of the maker's")


def test_comments_name_their_encoding() -> None:
    data = JpegExifData()
    data.user_comment = "plain"
    assert bytes(by_pillow(data).get_ifd(EXIF_IFD)[37510]) == b"ASCII\0\0\0plain"
    data.is_big_endian = True
    data.user_comment = "Ä"
    assert bytes(by_pillow(data).get_ifd(EXIF_IFD)[37510]) == b"UNICODE\0\0\xc4"
    raw = TiffUndefinedType(37510)
    raw.data = b"JIS\0\0\0\0\0\x24\x22"
    data.exif_tags = [raw]
    with pytest.raises(RuntimeError, match="NotSupportedException.*UserComment"):
        data.user_comment
    assert bytes(data.exif_tags[0].value) == b"JIS\0\0\0\0\0\x24\x22"
    raw.data = b"\0\0\0\0\0\0\0\0text   "
    assert data.user_comment == "text"


def test_a_number_of_another_type_is_read_all_the_same() -> None:
    width, flash, fraction = TiffShortType(40962), TiffByteType(37385), TiffShortType(33437)
    width.values, flash.values, fraction.values = [640], b"\x01", [4]
    data = ExifData([], [width, flash, fraction], [])
    assert data.pixel_x_dimension == 640
    assert data.flash == enums.ExifFlash.FIRED
    assert data.f_number == TiffRational(4, 1)


def test_a_property_has_its_type_whatever_a_file_chose_for_the_tag() -> None:
    area, version, oecf = TiffLongType(37396), TiffASCIIType(36864), TiffByteType(34856)
    area.values, version.text, oecf.values = [70, 80], "0231", b"\1\2"
    data = ExifData([], [area, version, oecf], [])
    assert type(data.subject_area).__name__ == "_ArrayWrapper_57AC8DC4" and list(data.subject_area) == [70, 80]
    assert bytes(data.oecf) == b"\1\2"
    with pytest.raises(RuntimeError, match="'System.String' to type 'System.Byte\\[\\]'"):
        data.exif_version
    area.values = [70, 1 << 16]
    with pytest.raises(RuntimeError, match="OverflowException"):
        data.subject_area
    make = TiffByteType(271)
    make.values = b"bytes"
    with pytest.raises(RuntimeError, match="'System.Byte\\[\\]' to type 'System.String'"):
        ExifData([make]).make


def test_the_largest_segment() -> None:
    assert JpegExifData.MAX_EXIF_SEGMENT_SIZE == 65535


def test_units_of_resolutions_are_inches_unless_told() -> None:
    data = JpegExifData()
    assert (data.resolution_unit, data.focal_plane_resolution_unit) == (ExifUnit.INCH, ExifUnit.INCH)
    data.resolution_unit = ExifUnit.CM
    assert data.resolution_unit == ExifUnit.CM
