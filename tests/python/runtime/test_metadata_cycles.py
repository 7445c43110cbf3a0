"""Objects of metadata that lead to themselves, and that nothing else holds, are ended."""

from __future__ import annotations

import gc
from typing import Callable

import pytest
from zelmor.imaging.exif import JpegExifData
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.xmp import XmpPackageBaseCollection, XmpPacketWrapper
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage

from support.collections import make_interop
from support.control import control
from support.runtimes import embedded_only


def package_in_its_own_list() -> None:
    package, items = DublinCorePackage(), make_interop("arrlist")
    items.append(package)
    package.set_prop_value("subject", items)


def packet_in_a_list_of_its_package() -> None:
    packet, package, items = XmpPacketWrapper(), DublinCorePackage(), make_interop("arrlist")
    packet.add_package(package)
    items.append(packet)
    package.set_prop_value("subject", items)


def collection_in_a_list_of_its_package() -> None:
    packages, package, items = XmpPackageBaseCollection(), DublinCorePackage(), make_interop("arrlist")
    packages.add(package)
    items.append(packages)
    package.set_prop_value("subject", items)


def exif_of_its_own_thumbnail() -> None:
    image, exif = JpegImage(20, 10), JpegExifData()
    exif.thumbnail = image
    image.exif_data = exif


@embedded_only("the cycle collector of the embedded runtime counts the objects that it knows")
@pytest.mark.parametrize("make", [package_in_its_own_list, packet_in_a_list_of_its_package,
                                  collection_in_a_list_of_its_package, exif_of_its_own_thumbnail])
def test_cycles_of_metadata_end(make: Callable[[], None]) -> None:
    make()
    gc.collect()
    control.collect()
    tracked, handles = control.tracked(), control.live()
    make()
    gc.collect()
    assert control.tracked() > tracked
    control.collect()
    assert (control.tracked(), control.live()) == (tracked, handles)
