"""A check of the published requirements of PDF/A-1 (ISO 19005-1), on the objects of a file as qpdf reads them.

There is no validator among Debian's packages. The numbers are those of the clauses.
"""

from __future__ import annotations

import base64
import io
import json
import re
import subprocess
import xml.etree.ElementTree as ET
from pathlib import Path
from typing import Any

from PIL import ImageCms

NAMES = {"rdf": "http://www.w3.org/1999/02/22-rdf-syntax-ns#", "dc": "http://purl.org/dc/elements/1.1/",
         "pdf": "http://ns.adobe.com/pdf/1.3/", "pdfaid": "http://www.aiim.org/pdfa/ns/id/"}


class Archive:
    """A file with its objects."""

    def __init__(self, path: Path) -> None:
        self.raw = path.read_bytes()
        said = subprocess.run(["qpdf", "--json=2", "--json-stream-data=inline", "--decode-level=generalized", path],
                              check=True, capture_output=True).stdout
        self.objects: dict[str, Any] = json.loads(said)["qpdf"][1]
        self.trailer = self.objects.pop("trailer")["value"]
        self.problems: list[str] = []

    def value(self, thing: Any) -> Any:
        """What a reference stands for: a value, or the dictionary of a stream."""
        while isinstance(thing, str) and re.fullmatch(r"\d+ \d+ R", thing):
            found = self.objects[f"obj:{thing}"]
            thing = found["stream"]["dict"] if "stream" in found else found["value"]
        return thing

    def data(self, reference: str) -> bytes:
        """The bytes of a stream, without its compression."""
        return base64.b64decode(self.objects[f"obj:{reference}"]["stream"]["data"])

    def text(self, value: Any) -> str:
        return str(self.value(value) or "").removeprefix("u:")

    def demand(self, good: bool, what: str) -> None:
        if not good:
            self.problems.append(what)

    def dictionaries(self) -> list[tuple[str, dict[str, Any], bool]]:
        """All dictionaries wherever they stand, with the object around them, and whether they are those of a stream."""
        found: list[tuple[str, dict[str, Any], bool]] = []

        def walk(name: str, thing: Any, stream: bool) -> None:
            if isinstance(thing, dict):
                found.append((name, thing, stream))
                for each in thing.values():
                    walk(name, each, False)
            elif isinstance(thing, list):
                for each in thing:
                    walk(name, each, False)
        for name, held in self.objects.items():
            stream = "stream" in held
            walk(name, held["stream"]["dict"] if stream else held["value"], stream)
        return found

    # ---- The clauses

    def check_file(self) -> None:
        lines = self.raw.split(b"\n", 2)
        self.demand(re.fullmatch(rb"%PDF-1\.[0-4]", lines[0]) is not None, f"6.1.2: header {lines[0]!r}")
        self.demand(lines[1][:1] == b"%" and len(lines[1]) >= 5 and all(byte > 127 for byte in lines[1][1:5]),
                    "6.1.2: no comment of bytes beyond ASCII")
        self.demand("/ID" in self.trailer and "/Encrypt" not in self.trailer, "6.1.3: trailer")
        self.demand(self.raw.rstrip(b"\r\n").endswith(b"%%EOF"), "6.1.3: something behind the end")
        self.demand(b"\nxref\n0 " in self.raw, "6.1.4: no plain table of objects")
        for name, entries, stream in self.dictionaries():
            filters = self.value(entries.get("/Filter")) if stream else None
            self.demand("/LZWDecode" not in (filters if isinstance(filters, list) else [filters]), f"6.1.10: {name}")
            self.demand(not stream or not {"/F", "/FFilter", "/FDecodeParms"} & set(entries), f"6.1.7: {name}")
            self.demand("/EF" not in entries and "/EmbeddedFiles" not in entries, f"6.1.11: {name}")
            self.demand(entries.get("/Type") not in ("/ObjStm", "/XRef"), f"6.1.4: {name}")
            self.demand(not {"/AA", "/OpenAction", "/JS", "/AcroForm"} & set(entries), f"6.6, 6.9: {name}")

    def check_profile(self, reference: str, what: str) -> str:
        """The space of a profile."""
        data, entries = self.data(reference), self.value(reference)
        profile = ImageCms.ImageCmsProfile(io.BytesIO(data)).profile
        self.demand(data[8] <= 2, f"{what}: a profile of version {data[8]}")
        self.demand(data[12:16] in (b"mntr", b"prtr", b"scnr", b"spac"), f"{what}: class {data[12:16]!r}")
        space = str(profile.xcolor_space).strip()
        self.demand({"GRAY": 1, "RGB": 3, "CMYK": 4}.get(space) == entries["/N"], f"{what}: {space}")
        return space

    def check_colors(self, catalog: dict[str, Any]) -> None:
        intents = [self.value(each) for each in self.value(catalog.get("/OutputIntents", []))]
        mine = [each for each in intents if each.get("/S") == "/GTS_PDFA1"]
        self.demand(len(mine) == 1, "6.2.2: no intent")
        space = self.check_profile(mine[0]["/DestOutputProfile"], "6.2.2") if mine else ""
        for name, held in self.objects.items():
            entries = held["stream"]["dict"] if "stream" in held else held["value"]
            text = json.dumps(entries)
            self.demand("/DeviceCMYK" not in text or space == "CMYK", f"6.2.3.3: {name}")
            self.demand("/DeviceRGB" not in text or space == "RGB", f"6.2.3.3: {name}")
        for name, entries, _ in self.dictionaries():
            colors = entries.get("/ColorSpace")
            for each in ([colors] if isinstance(colors, list) else []):
                base = each[1] if each[0] == "/Indexed" and isinstance(each[1], list) else each
                if base[0] == "/ICCBased":
                    self.check_profile(base[1], f"6.2.3.2: {name}")
            kind = entries.get("/Subtype")
            if kind == "/Image":
                self.demand(entries.get("/Interpolate", False) is False, f"6.2.4: {name}")
                self.demand(not {"/Alternates", "/OPI"} & set(entries), f"6.2.4: {name}")
                self.demand(entries.get("/BitsPerComponent", 1) in (1, 2, 4, 8), f"6.2.4: depth of {name}")
            self.demand(kind != "/PS" and not (kind == "/Form" and {"/OPI", "/PS", "/Ref"} & set(entries)),
                        f"6.2.5 to 6.2.7: {name}")
            self.demand("/TR" not in entries and entries.get("/TR2", "/Default") == "/Default", f"6.2.8: {name}")

    def check_fonts(self, structured: bool) -> None:
        for name, entries, _ in self.dictionaries():
            if entries.get("/Type") != "/Font":
                continue
            kind = entries["/Subtype"]
            if structured and not str(kind).startswith("/CIDFont"):
                self.demand("/ToUnicode" in entries, f"6.3.8: {name}")
            if kind in ("/Type0", "/Type3"):
                self.demand(kind != "/Type0" or entries["/Encoding"] in ("/Identity-H", "/Identity-V"),
                            f"6.3.3.3: {name}")
                continue
            about = self.value(entries.get("/FontDescriptor", {}))
            files = {"/FontFile", "/FontFile2", "/FontFile3"} & set(about)
            self.demand(len(files) == 1, f"6.3.4: no font program in {name}")
            subset = re.match(r"/[A-Z]{6}\+", entries["/BaseFont"]) is not None
            if str(kind).startswith("/CIDFont"):
                self.demand(kind != "/CIDFontType2" or "/CIDToGIDMap" in entries, f"6.3.3.2: {name}")
                self.demand(not subset or "/CIDSet" in about, f"6.3.5: {name}")
                if "/CIDSet" in about:
                    widths = self.value(entries["/W"])
                    glyphs = sum(map(int.bit_count, self.data(about["/CIDSet"])))
                    self.demand(glyphs == sum(len(self.value(each)) for each in widths[1::2]), f"6.3.5: set of {name}")
            if kind == "/Type1":
                self.demand(not subset or "/CharSet" in about, f"6.3.5: {name}")
            if kind == "/TrueType":
                symbolic = bool(about["/Flags"] & 4)
                self.demand(symbolic != (entries.get("/Encoding") in ("/WinAnsiEncoding", "/MacRomanEncoding")),
                            f"6.3.7: {name}")

    def check_transparency(self) -> None:
        for name, entries, _ in self.dictionaries():
            self.demand(entries.get("/SMask", "/None") == "/None", f"6.4: {name}")
            self.demand(entries.get("/S") != "/Transparency", f"6.4: {name}")
            self.demand(entries.get("/BM", "/Normal") in ("/Normal", "/Compatible"), f"6.4: {name}")
            self.demand(all(entries.get(each, 1) == 1 for each in ("/ca", "/CA")), f"6.4: {name}")

    def check_metadata(self, catalog: dict[str, Any], level: str) -> None:
        reference = catalog.get("/Metadata")
        if reference is None:
            return self.demand(False, "6.7.2: no metadata")
        self.demand("/Filter" not in self.value(reference), "6.7.2: compressed metadata")
        packet = self.data(reference).decode("utf-8")
        head = packet.split("?>", 1)[0]
        self.demand(head.startswith("<?xpacket ") and "bytes=" not in head and "encoding=" not in head, "6.7.5: packet")
        tree = ET.fromstring(packet.encode())

        def found(path: str) -> str:
            return (tree.findtext(f".//{path}", "", NAMES) or "").strip()
        self.demand((found("pdfaid:part"), found("pdfaid:conformance")) == ("1", level), "6.7.11: version")
        info = self.value(self.trailer.get("/Info", {}))
        for entry, path in (("/Title", "dc:title/rdf:Alt/rdf:li"), ("/Author", "dc:creator/rdf:Seq/rdf:li"),
                            ("/Subject", "dc:description/rdf:Alt/rdf:li"), ("/Keywords", "pdf:Keywords")):
            self.demand(self.text(info.get(entry)) == found(path), f"6.7.3: {entry} is {found(path)!r}")
        self.demand(not {"/Creator", "/Producer", "/CreationDate", "/ModDate"} & set(info), "6.7.3: without a twin")

    def pages(self, node: Any) -> list[tuple[str, dict[str, Any]]]:
        found = []
        for kid in self.value(node)["/Kids"]:
            entries = self.value(kid)
            found += self.pages(kid) if entries["/Type"] == "/Pages" else [(kid, entries)]
        return found

    def contents(self, page: dict[str, Any]) -> bytes:
        parts = page["/Contents"]
        return b"\n".join(self.data(each) for each in (parts if isinstance(parts, list) else [parts]))

    def check_pages(self, catalog: dict[str, Any]) -> None:
        for name, page in self.pages(catalog["/Pages"]):
            self.demand("/Annots" not in page, f"6.5: {name}")
            depth = deepest = 0
            for operator in re.findall(rb"(?<![\w/(<])([qQ])(?![\w)>])", self.contents(page)):
                depth += 1 if operator == b"q" else -1
                deepest = max(deepest, depth)
            self.demand(depth == 0 and deepest <= 28, f"6.1.12: {name}")

    def check_structure(self, catalog: dict[str, Any]) -> None:
        self.demand(self.value(catalog.get("/MarkInfo", {})).get("/Marked") is True, "6.8.2: not marked")
        root = self.value(catalog.get("/StructTreeRoot", {}))
        if not root:
            return self.demand(False, "6.8.3: no structure")
        document = self.value(root["/K"])
        self.demand(document["/S"] == "/Document", "6.8.3: no document")
        figures = {self.value(each)["/Pg"]: (each, self.value(each)) for each in document["/K"]}
        numbers = self.value(root["/ParentTree"])["/Nums"]
        parents = dict(zip(numbers[::2], numbers[1::2]))
        for name, page in self.pages(catalog["/Pages"]):
            reference, figure = figures[name]
            self.demand(figure["/S"] == "/Figure" and bool(self.text(figure.get("/Alt"))), f"6.8.4: {name}")
            self.demand(self.value(parents[page["/StructParents"]])[figure["/K"]] == reference, f"6.8.3: {name}")
            contents = self.contents(page).strip()
            self.demand(contents.startswith(b"/Figure << /MCID 0 >> BDC") and contents.endswith(b"EMC"),
                        f"6.8.2: contents of {name}")


def archive_problems(path: Path, level: str) -> list[str]:
    """What keeps a file from being PDF/A-1a ("A") or 1b ("B")."""
    archive = Archive(path)
    catalog = archive.value(archive.trailer["/Root"])
    archive.check_file()
    archive.check_colors(catalog)
    archive.check_fonts(level == "A")
    archive.check_transparency()
    archive.check_metadata(catalog, level)
    archive.check_pages(catalog)
    if level == "A":
        archive.check_structure(catalog)
    return archive.problems
