"""The XML documentation that the compiler writes beside the class library: the texts of the catalogue."""

from __future__ import annotations

from xml.etree import ElementTree

import pytest

from support.places import BUILD_DIR, CATALOGUE
from tools.generator.builder import load
from tools.generator.documentation import Documentation

FILE = BUILD_DIR / "dotnet" / "out" / "Zelmor.Imaging" / "Zelmor.Imaging.xml"
pytestmark = pytest.mark.skipif(not FILE.exists(), reason="the .NET half is not built: `make dotnet` builds it")


@pytest.mark.parametrize("member, name, python", [
    ("T:Zelmor.Imaging.ResizeType", "ResizeType", ""),
    ("P:Zelmor.Imaging.ImageOptions.PngOptions.CompressionLevel", "PngOptions", "compression_level"),
    ("M:Zelmor.Imaging.Graphics.BeginUpdate", "Graphics", "begin_update"),
    ("F:Zelmor.Imaging.ResizeType.LanczosResample", "ResizeType", "LANCZOS_RESAMPLE")])
def test_members_have_their_texts(member: str, name: str, python: str) -> None:
    members = {entry.get("name"): entry for entry in ElementTree.parse(FILE).iter("member")}
    assert len(members) > 8000
    entry = next(entry for entry in load(CATALOGUE).types if entry.name == name)
    words = Documentation.read(CATALOGUE)
    text = words.of_member(entry, python) if python else words.of_type(entry)
    summary = members[member].find("summary")
    assert summary is not None and summary.text is not None
    # The text as far as its first piece of code, which is written in other ways there.
    assert " ".join(summary.text.split()) == text.split("`")[0].strip()
