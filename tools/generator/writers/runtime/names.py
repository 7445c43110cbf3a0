"""Prints the catalogue's names for the embedded runtime: enumerations, entry points and properties as C++ constants.

One header for each managed namespace. A behavior is registered by such a constant, so that a member or an overload
that the catalogue does not have, and a C++ function that crosses otherwise than the catalogue says, do not compile.
"""

from __future__ import annotations

import re

from ...errors import CatalogueError
from ...model import Model, Type
from ..cpp_text import guarded, quoted
from .signatures import signatures
from .words import INTEGERS

# The namespace whose parts need no prefix, as nearly all types lie in it.
_ROOT = "Zelmor.Imaging"


def cpp_namespace(managed: str) -> str:
    """The C++ namespace of a managed one: `zelmor::embed::api::FileFormats::Tiff`."""
    inner = managed.removeprefix(_ROOT).removeprefix(".") if managed.startswith(_ROOT) else managed
    return "::".join(["zelmor::embed::api", *(part for part in inner.split(".") if part)])


def enumerator(name: str) -> str:
    """The C++ name of an enumerator: `kRotate90FlipNone` of `ROTATE_90_FLIP_NONE`."""
    words = (word if any(c.islower() for c in word) else word.lower() for word in name.split("_"))
    return "k" + "".join(word[:1].upper() + word[1:] for word in words)


def _number(value: int, cpp: str) -> str:
    if value == -2**31 and cpp == "int32_t":
        return "INT32_MIN"
    return f"{value}u" if cpp in ("uint32_t", "uint64_t") else str(value)


def _enumeration(entry: Type) -> list[str]:
    assert entry.width is not None
    cpp = INTEGERS[entry.width.form]
    names = [enumerator(name) for name, _ in entry.values]
    if len(set(names)) != len(names):
        raise CatalogueError(entry.place, f"two values of {entry.full_name} have the same name in C++")
    rows = [f"    {name} = {_number(value, cpp)}," for name, (_, value) in zip(names, entry.values)]
    return [f"enum class {entry.name} : {cpp} {{", *rows, "};"]


def _constant(declaration: str, *values: str) -> str:
    return f"    static constexpr {declaration}{{{', '.join(values)}}};"


def _members(entry: Type, assembly: str) -> list[str]:
    rows = [(name, signature) for name, signature in signatures(entry) if not name.startswith("btp_")]
    names = {name for name, _ in rows}
    lines = [f"struct {entry.name} {{", _constant("TypeName kType", quoted(entry.full_name), f"Assembly::{assembly}"),
             *(_constant(f"EntryName {name}", "kType", quoted(name), quoted(signature)) for name, signature in rows)]
    for prop in entry.properties:
        suffix = "sa" if prop.static else ""
        getter, setter = f"get{suffix}_{prop.managed}", f"set{suffix}_{prop.managed}"
        if prop.declared_by is entry and getter in names:
            lines.append(_constant(f"PropertyName property_{prop.managed}", "kType", quoted(prop.managed), f"&{getter}",
                                   f"&{setter}" if setter in names else "nullptr"))
    return [*lines, "};"]


def write_names(models: list[Model]) -> dict[str, list[str]]:
    """The headers by file name."""
    files: dict[str, list[str]] = {}
    for model in models:
        # "WrpInterop.Zelmor.PyIo" is Assembly::kPyIo.
        assembly = "k" + model.assembly.rsplit(".", 1)[1]
        for namespace in sorted({entry.namespace for entry in model.types}):
            body = ['#include "runtime/native/catalogue/names.h"', "", f"namespace {cpp_namespace(namespace)} {{", ""]
            for entry in model.types:
                if entry.namespace == namespace:
                    body += _enumeration(entry) if entry.is_enum else _members(entry, assembly)
                    body.append("")
            body.append(f"}}  // namespace {cpp_namespace(namespace)}")
            guard = "ZELMOR_GENERATED_RUNTIME_" + re.sub(r"\W", "_", namespace).upper() + "_H"
            files[f"{namespace}.h"] = [f"// What the catalogue names in {namespace}. Written by the generator.",
                                       *guarded(guard, body)]
    return files
