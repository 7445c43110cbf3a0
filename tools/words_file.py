"""Makes the file of the package that knows what the types and members are for, from the stubs.

    tools/words_file.py STUBS FILE

The stubs have the signatures and the texts of all types, so that what `zelmor.documentation` shows is what an editor
and the reference show. The file is a ZIP archive with a JSON file for each module: a list of objects, one for the
module and each of its types and members, in the order of the stub. Overloads are one object. `index.json` names the
types of each module. `python/zelmor/_words.py` reads it.
"""

from __future__ import annotations

import ast
import inspect
import json
import re
import sys
import zipfile
from collections.abc import Iterator
from dataclasses import dataclass, field
from pathlib import Path

#: Base classes that say which kind of type it is, and are no types of the API.
ENUMERATIONS = {"IntEnum", "IntFlag", "Enum"}
TYPES = ("class", "enumeration")
CONSTRUCTORS = ("__init__", "__new__")


@dataclass
class Entry:
    """What is known of a module, a type or a member."""

    name: str
    kind: str
    bases: list[str] = field(default_factory=list)
    signatures: list[str] = field(default_factory=list)
    texts: list[str] = field(default_factory=list)  # of the overloads

    def as_object(self) -> dict[str, object]:
        """As the file has it; what is empty is left out."""
        known = {"name": self.name, "kind": self.kind, "bases": self.bases,
                 "signatures": list(dict.fromkeys(self.signatures)), "text": merged(self.texts)}
        return {key: value for key, value in known.items() if value}


# ---- Texts

_SECTION = re.compile(r"(Args|Returns|Raises):\Z")
_ITEM = re.compile(r"    \S")


def merged(texts: list[str]) -> str:
    """One text of those of the overloads: what they have in common once, and all of their parameters and errors."""
    paragraphs: list[str] = []
    sections: dict[str, list[str]] = {"Args:": [], "Returns:": [], "Raises:": []}
    managed: list[str] = []
    for text in texts:
        for part in filter(None, re.split(r"\n[ \t]*\n", text)):
            lines = part.splitlines()
            if _SECTION.match(lines[0]):
                known = sections[lines[0]]
                known += [item for item in _items(lines[1:]) if item not in known]
            elif part.startswith("Managed "):
                managed += [part] if part not in managed else []
            elif part not in paragraphs:
                paragraphs.append(part)
    found = ["\n".join([title, *items]) for title, items in sections.items() if items]
    return "\n\n".join([*paragraphs, *found, *(["\n".join(managed)] if managed else [])])


def without_values(text: str) -> str:
    """The text of an enumeration without the list of its values, which are entries of their own."""
    return "\n\n".join(part for part in text.split("\n\n") if not part.startswith("Values:\n"))


def _items(lines: list[str]) -> Iterator[str]:
    """The entries of a section, each with the lines that belong to it."""
    item: list[str] = []
    for line in lines:
        if item and _ITEM.match(line):
            yield "\n".join(item)
            item = []
        item.append(line)
    if item:
        yield "\n".join(item)


# ---- Stubs


class _Names(ast.NodeTransformer):
    """Leaves out of annotations what is written for checkers only."""

    def visit_BinOp(self, node: ast.BinOp) -> ast.expr:
        left, right = self.visit(node.left), self.visit(node.right)
        if isinstance(right, ast.Name) and right.id == "MaybeNone":
            return left
        return ast.BinOp(left, node.op, right)


def written(node: ast.expr | None) -> str:
    """An annotation as text."""
    return "" if node is None else ast.unparse(_Names().visit(node))


def signature(name: str, function: ast.FunctionDef, static: bool) -> str:
    """A call as a person writes it."""
    arguments = function.args
    positional = [*arguments.posonlyargs, *arguments.args]
    if not static and positional and positional[0].arg in ("self", "cls"):
        positional = positional[1:]
    defaults = {argument.arg: value for argument, value in
                zip(reversed([*arguments.posonlyargs, *arguments.args]), reversed(arguments.defaults))}
    shown = []
    for argument in positional:
        text = argument.arg + (f": {written(argument.annotation)}" if argument.annotation is not None else "")
        shown.append(text + (f" = {ast.unparse(defaults[argument.arg])}" if argument.arg in defaults else ""))
    result = written(function.returns)
    arrow = f" -> {result}" if result and function.name not in CONSTRUCTORS else ""
    return f"{name}({', '.join(shown)}){arrow}"


def decorators(function: ast.FunctionDef) -> set[str]:
    """The names of the decorators."""
    return {ast.unparse(decorator) for decorator in function.decorator_list}


class _Reader:
    """Reads one stub into entries."""

    def __init__(self, module: str, tree: ast.Module) -> None:
        self._module = module
        self._imported = {alias.asname or alias.name: f"{node.module}.{alias.name}" for node in ast.walk(tree)
                          if isinstance(node, ast.ImportFrom) and node.module for alias in node.names}
        self._classes = {node.name: node for node in tree.body if isinstance(node, ast.ClassDef)}
        self._tree = tree

    def entries(self) -> Iterator[Entry]:
        """The module, its types, and their members."""
        yield Entry(self._module, "module", texts=[ast.get_docstring(self._tree) or ""])
        for name, node in self._classes.items():
            if not name.startswith("_"):
                yield from self._type(node)

    def _type(self, node: ast.ClassDef) -> Iterator[Entry]:
        bases = [ast.unparse(base) for base in node.bases]
        enumeration = bool(ENUMERATIONS & set(bases))
        full = [self._imported.get(base, f"{self._module}.{base}") for base in bases
                if base not in ENUMERATIONS and (base in self._classes or base in self._imported)]
        entry = Entry(f"{self._module}.{node.name}", "enumeration" if enumeration else "class", full,
                      texts=[without_values(ast.get_docstring(node) or "") if enumeration
                             else ast.get_docstring(node) or ""])
        members: dict[str, Entry] = {}
        for index, part in enumerate(node.body):
            following = node.body[index + 1] if index + 1 < len(node.body) else None
            if isinstance(part, ast.FunctionDef):
                self._function(entry, members, node.name, part)
            elif isinstance(part, (ast.AnnAssign, ast.Assign)):
                self._attribute(members, node.name, part, following, enumeration)
        yield entry
        yield from members.values()

    def _member(self, members: dict[str, Entry], owner: str, name: str, kind: str) -> Entry:
        return members.setdefault(name, Entry(f"{self._module}.{owner}.{name}", kind))

    def _function(self, entry: Entry, members: dict[str, Entry], owner: str, function: ast.FunctionDef) -> None:
        marks = decorators(function)
        name, text = function.name, ast.get_docstring(function) or ""
        if name in CONSTRUCTORS:
            if any(argument.arg == "type_has_no_available_constructor" for argument in function.args.args):
                return
            member = self._member(members, owner, "ctor", "constructor")
            member.signatures.append(signature(owner, function, static=False))
        elif name.startswith("_"):
            return
        elif "property" in marks:
            member = self._member(members, owner, name, "read-only property")
            member.signatures.append(f"{name}: {written(function.returns)}")
        elif any(mark.endswith(".setter") for mark in marks):
            members[name].kind = "property"
            return
        else:
            static = "staticmethod" in marks
            member = self._member(members, owner, name, "static method" if static else "method")
            member.signatures.append(signature(f"{owner}.{name}" if static else name, function, static))
        member.texts.append(text)

    def _attribute(self, members: dict[str, Entry], owner: str, part: ast.AnnAssign | ast.Assign,
                   following: ast.stmt | None, enumeration: bool) -> None:
        target = part.target if isinstance(part, ast.AnnAssign) else part.targets[0]
        if not isinstance(target, ast.Name) or target.id.startswith("_"):
            return
        name = target.id
        text = ""
        if isinstance(following, ast.Expr) and isinstance(following.value, ast.Constant) \
                and isinstance(following.value.value, str):
            text = inspect.cleandoc(following.value.value)
        annotation = written(part.annotation) if isinstance(part, ast.AnnAssign) else ""
        mixed = re.fullmatch(r"ClassVar\[(_\w+)\]", annotation)
        if mixed is not None:
            member = self._member(members, owner, name, "method of the class and of its objects")
            self._mixed(member, owner, name, mixed[1])
            return
        kind = "value" if enumeration else "constant" if annotation.startswith("Final") else "property"
        member = self._member(members, owner, name, kind)
        if enumeration:
            assert part.value is not None
            member.signatures.append(f"{name} = {ast.unparse(part.value)}")
        else:
            shown = re.sub(r"^Final\[(.*)\]\Z", r"\1", annotation)
            given = re.fullmatch(r"Attribute\[(.*)\]", shown)
            member.signatures.append(f"{name}: {given[1].rpartition(', ')[2] if given else shown}")
        member.texts.append(text)

    def _mixed(self, member: Entry, owner: str, name: str, kind: str) -> None:
        """A name that is a static method on the class, and another one on an object."""
        for half, shown in ((f"{kind}_on_class", f"{owner}.{name}"), (f"{kind}_on_instance", name)):
            for part in self._classes[half].body:
                if isinstance(part, ast.FunctionDef):
                    member.signatures.append(signature(shown, part, static=False))
                    member.texts.append(ast.get_docstring(part) or "")


def modules_of(stubs: Path) -> Iterator[tuple[str, list[Entry]]]:
    """The entries of all stubs that stand for modules."""
    for path in sorted(stubs.rglob("*.pyi")):
        parts = list(path.relative_to(stubs).with_suffix("").parts)
        if parts[-1] == "__init__":
            parts.pop()
        if parts and not any(part.startswith("_") for part in parts):
            module = ".".join(["zelmor", *parts])
            yield module, list(_Reader(module, ast.parse(path.read_text())).entries())


def write(stubs: Path, target: Path) -> int:
    """Writes the file, the same for the same stubs, and returns the number of entries."""
    index: dict[str, list[str]] = {}
    count = 0
    draft = target.with_suffix(".new")
    with zipfile.ZipFile(draft, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for module, entries in modules_of(stubs):
            index[module] = [entry.name for entry in entries if entry.kind in TYPES]
            count += len(entries)
            _add(archive, f"{module}.json", [entry.as_object() for entry in entries])
        _add(archive, "index.json", index)
    draft.replace(target)
    return count


def _add(archive: zipfile.ZipFile, name: str, content: object) -> None:
    info = zipfile.ZipInfo(name)  # without the time of the clock
    info.compress_type = zipfile.ZIP_DEFLATED
    archive.writestr(info, json.dumps(content, separators=(",", ":")))


def main() -> int:
    stubs, target = map(Path, sys.argv[1:])
    write(stubs, target)
    return 0


if __name__ == "__main__":
    sys.exit(main())
