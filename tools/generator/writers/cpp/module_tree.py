"""Prints the module tree: one plan and one builder for each module."""

from __future__ import annotations

from ...model import Model, Module, Type
from ..cpp_text import function, quoted, table
from .wrapper import needs_post_initializer


def _record(marker: Type | str) -> str:
    return f"&wrpPye_tyds_FFFFFFFF{marker}" if isinstance(marker, str) else f"&wrpPy_tyds_{marker.symbol}"


def _span(name: str, element: str, rows: list[str]) -> tuple[list[str], str]:
    """A table and the expression for it; an empty one needs no table."""
    return (table(f"static {element} {name}[]", rows), name) if rows else ([], "{}")


def _ready(module: Module) -> list[str]:
    """Foreign types that the markers name, as they come up, those of all modules first; then the module's own, in
    ordinal order."""
    markers = dict.fromkeys(marker for entry in module.wrappers for marker in entry.markers)
    interop = [marker for marker in markers if isinstance(marker, str)]
    foreign = [marker for marker in markers if isinstance(marker, Type) and marker.module != module.name]
    types: list[Type | str] = [*interop, *foreign, *module.wrappers]
    return [_record(entry) for entry in types]


def _wrapper_row(entry: Type) -> str:
    interfaces = f"wrpPy_ifcs_{entry.symbol}" if entry.markers else "{}"
    kind = "zelmor::WrapperKind::kStruct" if entry.kind == "struct" else "zelmor::WrapperKind::kClass"
    post = f"&wrpPy_eypi_{entry.symbol}" if needs_post_initializer(entry) else "nullptr"
    return (f"{{&wrpPy_tyds_{entry.symbol}, {quoted(entry.name)}, u{quoted(entry.full_name)}, {kind}, {interfaces}, "
            f"{post}}}")


def _module(module: Module, root: Module) -> list[str]:
    symbol = module.symbol
    lines = [f"static PyMethodDef wrpPy_mlmd_{symbol}[] = {{{{nullptr, nullptr, 0, nullptr}}}};",
             *table(f"static PyModuleDef wrpPy_mlds_{symbol}",
                    [".m_base = PyModuleDef_HEAD_INIT", f".m_name = {quoted(module.name)}", ".m_size = -1",
                     f".m_methods = wrpPy_mlmd_{symbol}"])]
    for entry in module.wrappers:
        if entry.markers:
            lines += table(f"static PyTypeObject* const wrpPy_ifcs_{entry.symbol}[]",
                           [_record(marker) for marker in entry.markers])
    children = [f"{{{quoted(child.last)}, &wrpPy_mlit_{child.symbol}}}" for child in module.children]
    enums = [f"{{{quoted(e.name)}, {quoted(e.dotted)}, &wrpPy_eypi_{e.symbol}}}" for e in module.enums]
    descriptors = ['{&wrpPye_tyds_FFFFFFFF_FieldDescr, "_FieldDescrType"}',
                   '{&wrpPye_tyds_FFFFFFFF_MixMethodDescr, "_MixMethodDescrType"}'] if module is root else []
    spans = []
    for name, element, rows in (
            ("mldt", "constexpr zelmor::DescriptorTypePlan", descriptors),
            ("mlch", "constexpr zelmor::ChildPlan", children),
            ("mlrd", "PyTypeObject* const", _ready(module)),
            ("mlen", "constexpr zelmor::EnumPlan", enums),
            ("mlwr", "const zelmor::WrapperPlan", [_wrapper_row(entry) for entry in module.wrappers])):
        text, expression = _span(f"wrpPy_{name}_{symbol}", element, rows)
        lines += text
        spans.append(expression)
    return lines + function(f"PyObject* wrpPy_mlit_{symbol}()", [
        f"return zelmor::build_module({{&wrpPy_mlds_{symbol}, {', '.join(spans)}}});"])


def write_module_tree(model: Model, product: str) -> list[str]:
    """The source file of the tree."""
    lines = [f"// The module tree of {model.assembly}: written by the generator from modules.tab.",
             f'#include "generated/{product}/{product}.h"', ""]
    for module in model.modules:
        lines += _module(module, model.root)
    return lines
