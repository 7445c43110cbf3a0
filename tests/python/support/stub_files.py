"""A parser of the stub package: the contents of each module and the members of each class, with their declarations."""

from __future__ import annotations

import ast
from dataclasses import dataclass, field
from pathlib import Path


@dataclass
class Member:
    """A member of a class. `kind` is `method`, `static method`, `property`, `static property`, `value` or `mixed`."""

    kind: str
    writable: bool = False
    overloads: list[list[str]] = field(default_factory=list)  # the keywords of each overload


@dataclass
class Class:
    """A class or enumeration."""

    name: str
    bases: list[str]
    members: dict[str, Member] = field(default_factory=dict)
    values: dict[str, int] = field(default_factory=dict)  # of an enumeration

    @property
    def is_enum(self) -> bool:
        return self.bases in (["IntEnum"], ["IntFlag"])


@dataclass
class Module:
    """A stub file."""

    name: str
    path: Path
    classes: dict[str, Class] = field(default_factory=dict)
    values: set[str] = field(default_factory=set)
    children: set[str] = field(default_factory=set)


def _last(node: ast.expr) -> str:
    """The last part of a name, without subscripts."""
    if isinstance(node, ast.Subscript):
        return _last(node.value)
    return node.attr if isinstance(node, ast.Attribute) else ast.unparse(node)


def _read_function(members: dict[str, Member], node: ast.FunctionDef) -> None:
    decorators = {_last(decorator) for decorator in node.decorator_list}
    kind = "property" if "property" in decorators else "static method" if "staticmethod" in decorators else "method"
    member = members.setdefault(node.name, Member(kind))
    assert member.kind == kind, f"{node.name} is two things"
    keywords = [argument.arg for argument in node.args.args]
    member.overloads.append(keywords if kind == "static method" else keywords[1:])


def _read_class(node: ast.ClassDef) -> Class:
    found = Class(node.name, [_last(base) for base in node.bases])
    for item in node.body:
        if isinstance(item, ast.FunctionDef):
            _read_function(found.members, item)
        elif isinstance(item, ast.AnnAssign):
            assert isinstance(item.target, ast.Name)
            annotation, inner = _last(item.annotation), ast.unparse(item.annotation)
            mixed = annotation == "ClassVar" and inner.startswith("ClassVar[_")
            kind = {"Final": "static property", "ClassVar": "mixed" if mixed else "value"}.get(annotation, "property")
            found.members[item.target.id] = Member(kind, writable=kind == "property")
        elif isinstance(item, ast.Assign):
            assert isinstance(item.targets[0], ast.Name)
            found.values[item.targets[0].id] = ast.literal_eval(item.value)
        else:
            assert isinstance(item, ast.Expr), f"{node.name} has something else: {ast.unparse(item)}"
    return found


def read_module(root: Path, path: Path) -> Module:
    """One file of the package."""
    parts = path.relative_to(root).with_suffix("").parts
    name = ".".join(["zelmor", *(parts[:-1] if parts[-1] == "__init__" else parts)])
    module = Module(name, path)
    for item in ast.parse(path.read_text()).body:
        if isinstance(item, ast.ClassDef):
            if "type_check_only" not in [_last(decorator) for decorator in item.decorator_list]:
                module.classes[item.name] = _read_class(item)
        elif isinstance(item, ast.AnnAssign):
            assert isinstance(item.target, ast.Name)
            module.values.add(item.target.id)
        elif isinstance(item, ast.ImportFrom):
            module.children |= {alias.name for alias in item.names if alias.asname == alias.name}
    return module


def read_package(root: Path) -> list[Module]:
    """All files but the one that has no module at run time."""
    paths = sorted(path for path in root.rglob("*.pyi") if path.name != "_typing.pyi")
    return [read_module(root, path) for path in paths]
