"""Managed names become Python names."""

from __future__ import annotations

import pytest

from tools.generator.naming import host_class_name, snake_case, upper_snake_case


@pytest.mark.parametrize(("managed", "python"), [
    ("ResizeWidthProportionally", "resize_width_proportionally"),
    ("GetFileFormat", "get_file_format"),
    ("BitsPerPixel", "bits_per_pixel"),
    ("XPTitle", "xp_title"),
    ("YCbCrSubsampling", "y_cb_cr_subsampling"),
    ("ReadUIntArray", "read_u_int_array"),
    ("CFAPattern", "cfa_pattern"),
    ("CreateWithTagID", "create_with_tag_id"),
    ("AEmrText", "a_emr_text"),
    ("CreateFromDWord", "create_from_d_word"),
    ("BitmapXPelsPerMeter", "bitmap_x_pels_per_meter"),
    ("Argb32Color", "argb_32_color"),
    ("Argb32ToCmyk", "argb_32_to_cmyk"),
    ("Create8BitGrayscale", "create_8_bit_grayscale"),
    ("Create4Bit", "create_4_bit"),
    ("FocalLengthIn35MmFilm", "focal_length_in_35_mm_film"),
    ("Point1", "point1"),
    ("Audio51", "audio51"),
    ("Timecode23976", "timecode23976"),
    ("ImageBase64", "image_base64"),
    ("ToArgb32", "to_argb32"),
    ("FromWin32", "from_win32"),
    ("Process64", "process64"),
    ("CreateFromHeaderExtension1", "create_from_header_extension1"),
])
def test_members_are_split_into_words(managed: str, python: str) -> None:
    assert snake_case(managed) == python


@pytest.mark.parametrize(("managed", "python"), [
    ("DublinCore", "DUBLIN_CORE"), ("Xml", "XML"), ("SubFileType", "SUB_FILE_TYPE"),
    ("Os22XBitmapHeaderSize", "OS_22_X_BITMAP_HEADER_SIZE"),
])
def test_constants_are_split_alike_in_upper_case(managed: str, python: str) -> None:
    assert upper_snake_case(managed) == python


def test_host_class_is_cut_to_eight_characters() -> None:
    assert host_class_name("Zelmor.Imaging.GraphicsUnit", "77BC8503") == \
        "WrpNs_Zelmor.WrpNs_Imaging.WrpCs_Graphics_77BC8503"
    assert host_class_name("Zelmor.Imaging.FileFormats.Tiff.Enums.TiffOrientations", "F11C2EE6") == \
        "WrpNs_Zelmor.WrpNs_Imaging.WrpNs_FileFormats.WrpNs_Tiff.WrpNs_Enums.WrpCs_TiffOrie_F11C2EE6"


def test_host_class_of_a_short_name_stands_whole() -> None:
    assert host_class_name("Zelmor.Imaging.Image", "4B725488") == "WrpNs_Zelmor.WrpNs_Imaging.WrpCs_Image_4B725488"
