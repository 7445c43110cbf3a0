"""Lossless JPEG files and those of 12 bits: read and written, beside DCMTK, GDCM and a reader of our own."""

from __future__ import annotations

import io
import struct
from pathlib import Path
from typing import Any

import numpy as np
import pydicom
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import DataRecoveryMode, FileFormat, Image, LoadOptions, RasterImage, Rectangle
from zelmor.imaging.fileformats.jpeg import JpegCompressionColorMode, JpegCompressionMode, JpegImage
from zelmor.imaging.imageoptions import JpegOptions, PngOptions

from support import dicom_files, lossless_jpeg, png_files
from support.arrays import Pixels
from support.image_oracles import managed_error, noise, smooth

PROCESS_14 = "1.2.840.10008.1.2.4.57"


def options(**properties: Any) -> JpegOptions:
    found = JpegOptions()
    found.compression_type = JpegCompressionMode.LOSSLESS
    for name, value in properties.items():
        setattr(found, name, value)
    return found


def image_of(pixels: Pixels) -> Image:
    """An image with 8 or 16 bits a channel."""
    color = 2 if pixels.ndim == 3 else 0
    depth = 16 if pixels.max() > 255 else 8
    return Image.load(io.BytesIO(png_files.to_bytes(
        png_files.Png(color, depth, pixels.reshape(*pixels.shape[:2], -1)))))


def saved(image: Image, with_options: JpegOptions | None = None) -> bytes:
    file = io.BytesIO()
    image.save(file, with_options) if with_options else image.save(file)
    return file.getvalue()


def samples(image: Image) -> Any:
    file = io.BytesIO()
    image.save(file, PngOptions())
    return png_files.from_bytes(file.getvalue()).samples.astype(int)


def loaded(data: bytes, recovery: DataRecoveryMode = DataRecoveryMode.NONE) -> RasterImage:
    load_options = LoadOptions()
    load_options.data_recovery_mode = recovery
    return RasterImage._cast_to(Image.load(io.BytesIO(data), load_options)).value


def spread(stored: Any, bits: int) -> Any:
    most, top = (1 << bits) - 1, 255 if bits <= 8 else 65535
    return (stored.astype(int) * top + most // 2) // most


def waves(bits: int, bands: int = 1, width: int = 37, height: int = 29) -> Any:
    """Samples of so many bits, with slopes and a little noise."""
    y, x = np.mgrid[:height, :width]
    rng = np.random.default_rng(bits)
    planes = [(np.sin(x / (5 + band)) + np.cos(y / (7 - band)) + 2) / 4 * ((1 << bits) - 1) + rng.normal(0, 1, x.shape)
              for band in range(bands)]
    found = np.stack(planes, -1).round().clip(0, (1 << bits) - 1).astype(np.uint16)
    return found[..., 0] if bands == 1 else found


def by_programs(tmp_path: Path, data: bytes, bits: int, bands: int) -> list[Any]:
    """What DCMTK and GDCM decode, of the file as a frame of a DICOM file."""
    frame = lossless_jpeg.from_bytes(data)
    height, width = frame.samples.shape[:2]
    array = np.zeros((height, width, bands) if bands > 1 else (height, width), np.uint16 if bits > 8 else np.uint8)
    plain = dicom_files.picture(array, "RGB" if bands == 3 else "MONOCHROME2", bits)
    file = pydicom.dcmread(io.BytesIO(plain))
    file.file_meta.TransferSyntaxUID = PROCESS_14
    file.PixelData = pydicom.encaps.encapsulate([data + b"\0" * (len(data) % 2)])
    file["PixelData"].VR = "OB"
    file["PixelData"].is_undefined_length = True
    file.save_as(tmp_path / "coded.dcm")
    found = []
    for command in (("dcmdjpeg",), ("gdcmconv", "--raw")):
        decoded = pydicom.dcmread(dicom_files.compressed(tmp_path / "coded.dcm", *command))
        found.append(decoded.pixel_array.astype(int))
    return found


@pytest.mark.parametrize(("bits", "bands"), [(8, 1), (10, 1), (12, 1), (16, 1), (8, 3)])
@pytest.mark.parametrize("make", ["waves", "noise"])
def test_other_programs_decode_every_sample(tmp_path: Path, make: str, bits: int, bands: int) -> None:
    if make == "waves":
        stored = waves(bits, bands)
    else:
        shape = (29, 37, 3) if bands == 3 else (29, 37)
        stored = np.random.default_rng(bits).integers(0, 1 << bits, shape).astype(np.uint16)
    data = saved(image_of(spread(stored, bits)), options(bits_per_channel=bits))
    for found in by_programs(tmp_path, data, bits, bands):
        assert np.array_equal(found, stored)


@pytest.mark.parametrize("bits", range(2, 17))
@pytest.mark.parametrize("bands", [1, 3])
def test_every_depth_comes_back(bits: int, bands: int) -> None:
    stored = np.random.default_rng(bits).integers(0, 1 << bits, (9, 13, 3) if bands == 3 else (9, 13))
    stored.flat[0], stored.flat[-1] = 0, (1 << bits) - 1
    data = saved(image_of((stored * 65535 + ((1 << bits) - 1) // 2) // ((1 << bits) - 1)),
                 options(bits_per_channel=bits))
    frame = lossless_jpeg.from_bytes(data)
    assert frame.bits == bits
    assert np.array_equal(frame.samples.reshape(stored.shape), stored)
    assert Image.get_file_format(io.BytesIO(data)) == FileFormat.JPEG
    image = loaded(data)
    assert image.bits_per_pixel == bits * bands
    assert np.array_equal(samples(image).reshape(stored.shape), spread(stored, bits))
    found = JpegOptions._cast_to(image.get_original_options()).value
    assert found.compression_type == JpegCompressionMode.LOSSLESS
    assert found.bits_per_channel == bits
    assert saved(image) == data


def test_inks_and_one_color() -> None:
    file = io.BytesIO()
    inks = np.random.default_rng(3).integers(0, 256, (11, 14, 4)).astype(np.uint8)
    Pillow.fromarray(inks, "CMYK").save(file, "TIFF")
    image = Image.load(io.BytesIO(file.getvalue()))
    data = saved(image, options(color_type=JpegCompressionColorMode.CMYK))
    frame = lossless_jpeg.from_bytes(data)
    assert np.array_equal(frame.samples, 255 - inks)  # as Adobe's programs write them
    assert frame.segments[0xEE] == [b"Adobe\0\x64\0\0\0\0\0"]
    assert np.array_equal(lossless_jpeg.from_bytes(saved(loaded(data))).samples, frame.samples)
    flat = lossless_jpeg.from_bytes(saved(image_of(np.full((5, 7), 77, np.uint8)), options()))
    assert (flat.samples == 77).all()
    single = lossless_jpeg.from_bytes(saved(image_of(np.full((1, 1, 3), 200, np.uint8)), options()))
    assert (single.samples == 200).all()


def test_the_predictor_suits_the_picture() -> None:
    y, x = np.mgrid[:40, :40]
    rng = np.random.default_rng(1)
    rows = np.repeat(rng.integers(0, 256, (40, 1)), 40, 1)  # each row of one tone
    columns = np.repeat(rng.integers(0, 256, (1, 40)), 40, 0)
    plane = x * 3 + y * 2
    found = [lossless_jpeg.from_bytes(saved(image_of(pixels.astype(np.uint8)), options())).predictor
             for pixels in (rows, columns, plane)]
    assert found == [1, 2, 4]
    picture = smooth(3)
    assert len(saved(image_of(picture), options())) < 0.8 * picture.size


def test_what_describes_the_picture() -> None:
    file = io.BytesIO()
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    Pillow.fromarray(smooth(3)).save(file, "PNG", icc_profile=profile, dpi=(300, 300))
    data = saved(Image.load(io.BytesIO(file.getvalue())), options(comment="words"))
    frame = lossless_jpeg.from_bytes(data)
    assert frame.segments[0xFE] == [b"words"]
    assert frame.segments[0xE2] == [b"ICC_PROFILE\0\1\1" + profile]
    assert 0xE0 not in frame.segments  # JFIF would say that the colors are luminance and differences
    image = JpegImage._cast_to(loaded(data)).value
    assert image.comment == "words"
    with Pillow.open(io.BytesIO(file.getvalue())) as gray:
        file = io.BytesIO()
        gray.convert("L").save(file, "PNG", dpi=(300, 150))
    data = saved(Image.load(io.BytesIO(file.getvalue())), options())
    jfif = b"JFIF\0" + struct.pack(">BBBHHBB", 1, 1, 1, 300, 150, 0, 0)
    assert lossless_jpeg.from_bytes(data).segments[0xE0] == [jfif]
    assert (loaded(data).horizontal_resolution, loaded(data).vertical_resolution) == (300, 150)


def frame_of(tmp_path: Path, array: Any, bits: int, *command: str) -> tuple[bytes, Any]:
    """The file that DCMTK's encoder makes, and the samples that its decoder gives."""
    gray = array.ndim == 2
    (tmp_path / "plain.dcm").write_bytes(dicom_files.picture(array, "MONOCHROME2" if gray else "RGB", bits))
    path = dicom_files.compressed(tmp_path / "plain.dcm", *command)
    coded, decoded = pydicom.dcmread(path), pydicom.dcmread(dicom_files.compressed(path, "dcmdjpeg"))
    return next(pydicom.encaps.generate_pixel_data_frame(coded.PixelData, 1)), decoded.pixel_array.astype(int)


@pytest.mark.parametrize("predictor", range(1, 8))
@pytest.mark.parametrize(("bits", "bands"), [(8, 1), (8, 3), (12, 1), (16, 1)])
def test_files_of_another_encoder(tmp_path: Path, bits: int, bands: int, predictor: int) -> None:
    stored = waves(bits, bands).astype(np.uint8 if bits == 8 else np.uint16)
    data, decoded = frame_of(tmp_path, stored, bits, "dcmcjpeg", "+el", "+sv", str(predictor))
    assert np.array_equal(decoded, stored)
    coded = data[data.index(b"\xff\xc3") + 4]  # this encoder has 8 or 16 bits
    assert np.array_equal(samples(loaded(data)).reshape(stored.shape), spread(stored, coded))


def test_luminance_and_differences_are_told_by_jfif() -> None:
    data = saved(image_of(smooth(3)), options())
    stored = lossless_jpeg.from_bytes(data).samples.astype(float)
    at = data.index(b"\xff\xee")
    jfif = b"\xff\xe0\0\x10JFIF\0\1\1\0\0\1\0\1\0\0"
    y, blue, red = stored[..., 0], stored[..., 1] - 128, stored[..., 2] - 128
    expected = np.stack([y + 1.402 * red, y - 0.344136 * blue - 0.714136 * red, y + 1.772 * blue], -1)
    found = samples(loaded(data[:at] + jfif + data[at + 16:]))
    assert np.abs(found - expected.clip(0, 255)).max() <= 0.51
    bare = samples(loaded(data[:at] + data[at + 16:]))
    assert np.array_equal(bare, stored)


@pytest.mark.parametrize("bands", [1, 3])
def test_files_of_12_bits(tmp_path: Path, bands: int) -> None:
    stored = waves(12, bands)
    if bands == 3:  # DCMTK has no colors of 12 bits: three gray pictures in one file are put together
        scans = [frame_of(tmp_path, np.ascontiguousarray(stored[..., band]), 12, "dcmcjpeg", "+ee")
                 for band in range(3)]
        data, decoded = joined([each[0] for each in scans]), np.stack([each[1] for each in scans], -1)
    else:
        data, decoded = frame_of(tmp_path, stored, 12, "dcmcjpeg", "+ee")
    assert b"\xff\xc1" in data
    image = loaded(data)
    assert image.bits_per_pixel == 12 * bands
    found = samples(image).reshape(stored.shape)
    assert np.abs(found - spread(decoded.clip(0, 4095), 12)).max() <= 20
    assert np.abs(found - spread(stored, 12)).max() < 65535 / 16
    assert JpegOptions._cast_to(image.get_original_options()).value.compression_type == JpegCompressionMode.BASELINE


def segments_of(data: bytes) -> list[tuple[int, bytes]]:
    found, at = [], 2
    while data[at + 1] != 0xDA:
        size = struct.unpack_from(">H", data, at + 2)[0]
        found.append((data[at + 1], data[at + 4:at + 2 + size]))
        at += 2 + size
    return [*found, (0xDA, data[at:data.rindex(b"\xff\xd9")])]


def joined(files: list[bytes]) -> bytes:
    """One file with a scan for each component, marked as RGB by Adobe's segment."""
    out = b"\xff\xd8\xff\xee\0\x0eAdobe\0\x64\0\0\0\0\0"
    first = dict(segments_of(files[0]))
    frame = bytearray(first[0xC1][:5] + b"\3")
    for band in range(3):
        frame += bytes([band + 1, 0x11, first[0xC1][8]])
    scans = b""
    for band, data in enumerate(files):
        for marker, content in segments_of(data):
            if marker in (0xDB, 0xC4):
                out_or_scan = bytes([0xFF, marker]) + struct.pack(">H", len(content) + 2) + content
                scans += out_or_scan
            elif marker == 0xDA:
                scan = bytearray(content)
                scan[5] = band + 1  # the component of the scan
                scans += bytes(scan)
    return out + b"\xff\xc1" + struct.pack(">H", len(frame) + 2) + bytes(frame) + scans + b"\xff\xd9"


def test_data_that_end_early() -> None:
    picture = noise(3, width=40, height=30)
    data = saved(image_of(picture), options())
    cut = data[:len(data) * 2 // 3]
    for damaged in (cut, data[:-2]):
        with managed_error("ImageLoadException", "end early" if damaged is not cut else ""):
            samples(loaded(damaged))
    assert np.array_equal(samples(loaded(data[:-2], DataRecoveryMode.CONSISTENT_RECOVER)), picture)
    image = loaded(cut, DataRecoveryMode.MAXIMAL_RECOVER)
    found = samples(image)
    assert found.shape == picture.shape
    sound = int(np.argmin((found == picture).all((1, 2))))
    assert 15 < sound < 22
    assert np.array_equal(found[:sound], picture[:sound])
    assert (found[sound:] == 255).all()  # the background
    partly = loaded(cut, DataRecoveryMode.CONSISTENT_RECOVER)
    colors = partly.load_argb_32_pixels(Rectangle(0, 0, 40, sound))
    words = np.array(list(colors), np.int64).astype(np.uint32).reshape(sound, 40)
    assert np.array_equal(words & 255, picture[:sound, :, 2])


@pytest.mark.parametrize(("properties", "kind", "text"), [
    ({"color_type": JpegCompressionColorMode.YCCK}, "NotSupportedException", "JpegOptions.ColorType beside"),
    ({"horizontal_sampling": b"\2\1\1"}, "NotSupportedException", "JpegOptions.HorizontalSampling beside"),
    ({"jpeg_ls_allowed_lossy_error": 2}, "NotSupportedException", "JpegOptions.JpegLsAllowedLossyError without")])
def test_what_the_coding_has_not_is_refused(properties: dict[str, Any], kind: str, text: str) -> None:
    with managed_error(kind, text):
        saved(image_of(smooth(3)), options(**properties))


def test_other_rare_codings_are_named() -> None:
    data = saved(image_of(smooth(3)), options())
    for marker in (0xC7, 0xCB, 0xCF):
        with managed_error("NotSupportedException", "arithmetic or differential JPEG"):
            samples(loaded(data.replace(b"\xff\xc3", bytes([0xFF, marker]), 1)))


def test_the_end_of_the_picture_in_a_stream() -> None:
    data = saved(image_of(noise(3)), options())
    stream = io.BytesIO(data + b"behind")
    Image.load(stream)
    assert stream.read() == b"behind"
