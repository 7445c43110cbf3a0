"""Metadata of a picture as texts: shown, set and removed."""

from __future__ import annotations

import datetime
import enum
from functools import cache
from typing import Any

from zelmor.batch import jobs
from zelmor.batch.settings import SettingError, api_classes, apply, properties
from zelmor.imaging.exif import ExifProperties
from zelmor.imaging.xmp import XmpPacketWrapper

#: Properties of EXIF data that are views of other ones, or that hold much data that is no text.
_LEFT_OUT = ("properties", "common_tags", "exif_tags", "gps_tags", "thumbnail", "maker_notes", "maker_note_raw_data",
             "is_big_endian")
#: The properties of images that hold metadata.
_HOLDERS = ("exif_data", "xmp_data", "comment", "jfif")


def shown(own: Any) -> dict[str, Any]:
    """The metadata of an image: EXIF, XMP and comment, each as far as there is any."""
    found: dict[str, Any] = {}
    exif = getattr(own, "exif_data", None)
    if exif is not None:
        values = {name: _plain(value) for name, value in _exif_values(exif)}
        if values:
            found["exif"] = values
    packet = getattr(own, "xmp_data", None)
    if packet is not None:
        values = {key: _plain(package.get_prop_value(key)) for package in packet.packages for key in package}
        if values:
            found["xmp"] = values
    comment = getattr(own, "comment", None)
    if comment:
        found["comment"] = comment
    return found


def _exif_values(exif: Any) -> list[tuple[str, Any]]:
    """The tags that there are, by the names of their properties."""
    found = []
    kind: Any = type(exif)
    for tag in (*exif.common_tags, *exif.exif_tags, *exif.gps_tags):
        known = _NAMES.get(tag.id, "")
        name = known or f"tag_{tag.id}"
        if name not in _LEFT_OUT:
            try:
                value = getattr(exif, name) if name in _readable(kind) else tag.value
            except (RuntimeError, ValueError, TypeError) as error:
                value = f"unreadable: {error}"  # one damaged tag hides no other one
            found.append((name, value))
    return found


#: The names of properties, by the numbers of their tags.
_NAMES = {int(member): member.name.lower() for member in ExifProperties}


@cache
def _readable(kind: Any) -> frozenset[str]:
    return frozenset(name for name in dir(kind) if type(getattr(kind, name)).__name__ == "getset_descriptor")


def _plain(value: Any) -> Any:
    """A value as JSON has it."""
    if isinstance(value, (bytes, bytearray)):
        return bytes(value).hex()
    if isinstance(value, datetime.datetime):
        return value.isoformat(" ")
    if isinstance(value, (bool, str)) or value is None:
        return value
    if isinstance(value, enum.Enum):
        return value.name
    if isinstance(value, (int, float)):
        return value
    if hasattr(value, "nominator"):
        return round(value.value, 6) if value.denominator else str(value)
    if hasattr(value, "__len__") and hasattr(value, "__getitem__"):
        return [_plain(item) for item in value]
    if hasattr(value, "get_xmp_representation"):
        return value.get_xmp_representation()
    return str(value)


def change(own: Any, step: jobs.Metadata) -> None:
    """Changes the metadata of an image, given as an object of its own class."""
    if step.strip:
        for name in _HOLDERS:
            if hasattr(own, name):
                setattr(own, name, None)
    for name in step.remove:
        _change_one(own, name, None)
    for name, text in step.values.items():
        _change_one(own, name, text)


def _change_one(own: Any, name: str, text: str | None) -> None:
    if ":" in name:
        _change_xmp(own, name, text)
    elif name == "comment":
        if not hasattr(own, "comment"):
            raise SettingError("files of this format have no comment that can be set")
        own.comment = text
    else:
        _change_exif(own, name, text)


def _change_exif(own: Any, name: str, text: str | None) -> None:
    if not hasattr(own, "exif_data"):
        raise SettingError(f"EXIF data such as {name!r} cannot be set in files of this format; XMP has a prefix, as "
                           "in dc:title")
    wanted = name.lower().replace("-", "_")
    if own.exif_data is None:
        if text is None:
            return
        own.exif_data = _new_exif(own)
    exif = own.exif_data
    # DateTimeOriginal stands for date_time_original.
    names = {each.name.replace("_", ""): each.name for each in properties(exif) if each.name not in _LEFT_OUT}
    found = names.get(wanted.replace("_", ""))
    if found is None:
        raise SettingError(f"EXIF data have no {name!r}; they have {', '.join(sorted(names.values()))}")
    if text is None:
        setattr(exif, found, None)
    else:
        apply(exif, {found: text})


def _new_exif(own: Any) -> Any:
    made: Any = api_classes()["JpegExifData" if type(own).__name__ == "JpegImage" else "ExifData"]
    return made()


#: The packages of XMP that are made when a property of theirs is set first.
_PACKAGES = {"dc": "DublinCorePackage", "xmp": "XmpBasicPackage", "photoshop": "PhotoshopPackage", "pdf": "PdfPackage",
             "xmpRights": "XmpRightsManagementPackage", "xmpMM": "XmpMediaManagementPackage",
             "xmpDM": "XmpDynamicMediaPackage"}


def _change_xmp(own: Any, name: str, text: str | None) -> None:
    if not hasattr(own, "xmp_data"):
        raise SettingError(f"XMP data such as {name!r} cannot be set in files of this format")
    prefix = name.partition(":")[0]
    packet = own.xmp_data
    package = None if packet is None else next((each for each in packet.packages if each.prefix == prefix), None)
    if text is None:
        if package is not None:
            package.remove(name)
        return
    if package is None:
        if prefix not in _PACKAGES:
            raise SettingError(f"no XMP schema with the prefix {prefix!r} is known; there are {', '.join(_PACKAGES)}")
        made: Any = api_classes()[_PACKAGES[prefix]]
        package = made()
        if packet is None:
            packet = XmpPacketWrapper()
            own.xmp_data = packet
        packet.add_package(package)
        package = own.xmp_data.get_package(package.namespace_uri)
    package.remove(name)
    package.add_value(name, text)
