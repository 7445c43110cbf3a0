"""Writes the stub package: a `.pyi` file for each module, from the same model as the module itself.

What the model does not know, the types that are written by hand, stands in files of the same form. They are copied as
they are; where a module has both, its file opens with the generated part.
"""

from __future__ import annotations

from pathlib import Path

from ...model import Model, Module, Type
from ...wires import Collection
from ..text import indent, write_if_changed
from .annotations import Scope, Universe
from .collections import typed_names, write_generic, write_interop
from .docstrings import described
from .layout import laid_out
from .members import write_class, write_enumeration
from .words import GENERIC, INTEROP, SUPPORT

_HEAD = "# Written by the generator from the catalogue: see docs/stubs.md."
_VERSION = ["@final", "class _ModuleVersionType:", '    """Four numbers and their text."""',
            *(f"    {name}: Final[int]" for name in ("major", "minor", "patch", "sub")), "    view: Final[str]",
            *(f"    def __{name}__(self, other: _ModuleVersionType, /) -> bool: ..." for name in
              ("lt", "le", "gt", "ge")), ""]
_ROOT_TYPES = ["class _FieldDescrType:", '    """What a static property is in the dictionary of its type."""',
               "    def __get__(self, instance: object, owner: type | None = ..., /) -> Any: ...", "",
               "class _MixMethodDescrType:",
               '    """What a name is that means a static method on the class and others on an instance."""',
               "    def __get__(self, instance: object, owner: type | None = ..., /) -> Any: ...", ""]


class StubWriter:
    """Writes the stubs of several assemblies, which name one another's types."""

    def __init__(self, models: list[Model]) -> None:
        self._universe = Universe(models)
        self._main = models[0]

    def write(self, handwritten: Path | None) -> dict[str, list[str]]:
        """The files by their path in the package, as lines."""
        files = {self.path(module): self._module(module, model is self._main)
                 for model in self._universe.models for module in model.modules}
        root = self._main.root.name
        if root == "zelmor.imaging":
            children = _child_imports(f"{root}._wrpgen", ["_generic", "_interop"])
            files["imaging/_wrpgen/__init__.pyi"] = [_HEAD, *children]
            files["imaging/_wrpgen/_interop.pyi"] = self._interop()
            files["imaging/_wrpgen/_generic.pyi"] = self._generic(self._main.collections)
        files["_typing.pyi"] = self._support()
        files = {path: laid_out(lines) for path, lines in files.items()}
        if handwritten is None:
            return files
        for path in sorted(handwritten.rglob("*.pyi")):
            key, lines = path.relative_to(handwritten).as_posix(), path.read_text().splitlines()
            files[key] = [*files[key], "", *lines] if key in files else lines
        return files

    @staticmethod
    def path(module: Module) -> str:
        """Where a module's file lies; the modules of the interop side are children of the root."""
        parts = module.name.split(".")[1:]
        return "/".join(parts) + ("/__init__.pyi" if module.children or len(parts) == 1 else ".pyi")

    def _finish(self, scope: Scope, description: str, body: list[str], children: list[str],
                text: str = "") -> list[str]:
        return [_HEAD, *described(text, [description]), "", *scope.import_lines(),
                *_child_imports(scope.module, children), "", *body]

    def _module(self, module: Module, main: bool) -> list[str]:
        is_root = "." not in module.name.removeprefix("zelmor.")
        children = [child.last for child in module.children]
        defined = {entry.name for entry in module.types} | set(children)
        if is_root:
            defined |= {"_ModuleVersionType", "_FieldDescrType", "_MixMethodDescrType"}
        scope = Scope(self._universe, module.name, defined)
        body: list[str] = []
        if is_root:
            body += self._root(scope)
            children += ["_wrpgen"] if main else []
        for entry in [*module.enums, *_bases_first(module.wrappers)]:
            writer = write_enumeration if entry.is_enum else write_class
            body += writer(scope, entry)
        return self._finish(scope, f"Managed namespace {module.namespace}.", body, sorted(children),
                            self._universe.words.of_module(module))

    @staticmethod
    def _root(scope: Scope) -> list[str]:
        for name in ("Any", "Final", "final"):
            scope.typing(name)
        names = ("VERSION", "_BACKWARD_COMPATIBILITY_THRESHOLD")
        return [*_VERSION, *(f"{name}: Final[_ModuleVersionType]" for name in names), "",
                *_ROOT_TYPES]

    def _interop(self) -> list[str]:
        scope = Scope(self._universe, INTEROP, set())
        body = write_interop(scope)
        return self._finish(scope, "Wrappers of managed collections, of any element, and of managed streams.", body, [])

    def _generic(self, collections: list[Collection]) -> list[str]:
        scope = Scope(self._universe, GENERIC, set())
        body = write_generic(scope, collections)
        return self._finish(scope, "Wrappers of managed collections of one element type.", body, [])

    # -- what the stubs share ---------------------------------------------------------------------------------------

    def _support(self) -> list[str]:
        scope = Scope(self._universe, SUPPORT, set())
        body = [*_support_head(scope), *self._lists(scope)]
        for row, kind, name in typed_names(self._main.collections):
            text = scope.name(GENERIC, name)
            body.append(f"{self._universe.collection_name(row, kind)}: {scope.typing('TypeAlias')} = {text}")
        for entry in self._universe.types:
            implementers = self._universe.implementers(entry) if entry.kind == "interface" else []
            if implementers:
                names = " | ".join(scope.of(other) for other in [entry, *implementers])
                body.append(f"{entry.name}Like: {scope.typing('TypeAlias')} = {names}")
        return self._finish(scope, "Names that the stubs share. There is no such module at run time: import them under "
                            "TYPE_CHECKING.", body, [])

    def _lists(self, scope: Scope) -> list[str]:
        """What goes where a managed list of any element is taken."""
        wrappers = [scope.name(INTEROP, name)
                    for name in ("_IListWrapper", "_ColBaseWrapper", "_ArrListWrapper", "_ArrayWrapper")]
        wrappers += [scope.name(GENERIC, name)
                     for _, kind, name in typed_names(self._main.collections) if kind == "list"]
        classes = [entry for entry in self._universe.types if "_IListWrapper" in entry.interfaces]
        wrappers += [scope.of(entry) for entry in classes if not any(base in classes for base in entry.bases())]
        return [f"ListLike: TypeAlias = {' | '.join(wrappers)} | Sequence[Variant]"]


def _support_head(scope: Scope) -> list[str]:
    for name in ("Any", "BinaryIO", "Generic", "Protocol", "TypeAlias", "TypeVar", "overload"):
        scope.typing(name)
    for module, names in {"collections.abc": ("Iterable", "Iterator", "Sequence"),
                          "io": ("BufferedIOBase", "RawIOBase"),
                          "datetime": ("date", "datetime", "time", "timedelta"), "uuid": ("UUID",),
                          "decimal": ("Decimal", "DecimalTuple"), "types": ("GetSetDescriptorType",),
                          "zelmor.pycore": ("BytesAsStream",), "zelmor.pygc": ("CastResult",),
                          "zelmor.pyreflection": ("Object", "Type"),
                          INTEROP: ("_ArrayWrapper", "_ArrListWrapper", "_StreamWrapper")}.items():
        for name in names:
            scope.name(module, name)
    return [
        'T = TypeVar("T")', 'Given = TypeVar("Given", covariant=True)', 'Taken = TypeVar("Taken", contravariant=True)',
        "", "# Beside a result that the managed side may leave out, where a test each time would be a burden.",
        "MaybeNone: TypeAlias = Any", "",
        "class Attribute(Generic[Given, Taken]):",
        *indent(['"""A property that takes more than it gives."""', "@overload",
                 "def __get__(self, instance: None, owner: type, /) -> GetSetDescriptorType: ...", "@overload",
                 "def __get__(self, instance: object, owner: type | None = ..., /) -> Given: ...",
                 "def __set__(self, instance: object, value: Taken, /) -> None: ..."]), "",
        "class ManagedObject(Protocol):",
        *indent(['"""A wrapper of a managed object, of whatever module."""', "def get_type(self) -> Type: ...",
                 "def _cast_from(self, type: Type, /) -> CastResult[Object]: ..."]), "",
        "class CollectionLike(Protocol):",
        *indent(['"""Whatever has a length and can be iterated over."""', "def __len__(self) -> int: ...",
                 "def __iter__(self) -> Iterator[Any]: ..."]), "",
        "# What goes where the managed side takes any object.",
        "Variant: TypeAlias = (", *indent([
            "int | float | Decimal | DecimalTuple | str | bytes | bytearray | memoryview | datetime | date | time",
            "| timedelta | UUID | list[Any] | tuple[Any, ...] | ManagedObject | None"]), ")", "",
        "Stream: TypeAlias = _StreamWrapper",
        "StreamLike: TypeAlias = _StreamWrapper | RawIOBase | BufferedIOBase | BinaryIO | BytesAsStream",
        "ArrayLike: TypeAlias = _ArrayWrapper | Sequence[Variant]",
        "ArrayListLike: TypeAlias = _ArrListWrapper | Sequence[Variant]",
        "EnumerableLike: TypeAlias = Iterable[Any]", "EnumeratorLike: TypeAlias = Iterator[Any]"]


def _child_imports(module: str, children: list[str]) -> list[str]:
    return [f"from {module} import {name} as {name}" for name in children]


def _bases_first(types: list[Type]) -> list[Type]:
    """Base classes in front of what derives from them, otherwise in their order: some tools read from the top."""
    done: dict[Type, None] = {}
    for entry in types:
        for ancestor in reversed([entry, *entry.bases()]):
            if ancestor.module == entry.module:
                done[ancestor] = None
    return list(done)


def write_stubs(models: list[Model], out: Path, handwritten: Path | None) -> int:
    """Writes the package and removes the files of modules that are gone; the number of files."""
    files = {out / path: lines for path, lines in StubWriter(models).write(handwritten).items()}
    for path, lines in files.items():
        write_if_changed(path, lines)
    for path in out.rglob("*.pyi"):
        if path not in files:
            path.unlink()
    return len(files)
