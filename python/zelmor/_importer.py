"""Imports of modules that an extension module holds as attributes.

``zelmor.imaging`` and ``zelmor.pydrawing`` are single shared objects with a tree of modules inside. The children
are ordinary module objects, reachable as attributes, but unknown to ``sys.modules`` and without a ``__path__``. The
finder of this file marks the shared object as a package when it is found, and answers an import of a child with the
very object that the parent's attribute names. Nothing is entered before it is asked for, and nothing is ever copied.

While a shared object is loaded the bridge is pointed to the runtime beside it.

It also tells the enumerations of all extension modules where they live: the enum module guesses that from the Python
code that makes a class, and there is none. With the right name members can be pickled.
"""

from __future__ import annotations

import sys
from _thread import get_ident
from importlib.machinery import ExtensionFileLoader, ModuleSpec
from types import CodeType, ModuleType

from zelmor._runtime_choice import chosen_runtime

TYPE_CHECKING = False  # type checkers take it for true; the typing module itself would double the package's import time
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import ClassVar

#: The extension modules that hold a tree.
_TREE_ROOTS = ("zelmor.imaging", "zelmor.pydrawing")
_TREE_PREFIXES = tuple(root + "." for root in _TREE_ROOTS)


class _FlatLoader(ExtensionFileLoader):
    """Loads a shared object of this package."""

    def create_module(self, spec: ModuleSpec) -> ModuleType:
        """What the extension loader does: the start of the bridge, and of the runtime, happens in it."""
        with chosen_runtime:
            return super().create_module(spec)

    def exec_module(self, module: ModuleType) -> None:
        """What the extension loader does, and the names of the enumerations."""
        super().exec_module(module)
        _name_enumerations(module)


class _TreeLoader(_FlatLoader):
    """Loads the shared object of a tree."""

    def is_package(self, fullname: str) -> bool:
        """A tree is a package, whatever its file is called."""
        return True


class _ChildLoader:
    """Loads a module that exists already: the object goes to the import system as it is."""

    def __init__(self, module: ModuleType) -> None:
        self._module = module

    def create_module(self, spec: ModuleSpec) -> ModuleType:
        """The attribute object itself."""
        return self._module

    def exec_module(self, module: ModuleType) -> None:
        """Nothing to run: the extension module has filled its children. A reload changes nothing either."""

    def is_package(self, fullname: str) -> bool:
        """Every child may have children of its own."""
        return True

    def get_code(self, fullname: str) -> CodeType | None:
        """None: there is no Python code."""
        return None

    def get_source(self, fullname: str) -> str | None:
        """None: there is no Python source."""
        return None


def _children(parent: ModuleType) -> list[ModuleType]:
    """The modules that stand directly below `parent`."""
    modules = ((name, value) for name, value in vars(parent).items() if isinstance(value, ModuleType))
    return [module for name, module in modules if _is_child(parent.__name__, name, module)]


def _is_child(parent_name: str, name: str, module: ModuleType) -> bool:
    # The name is compared so that a foreign module put on the tree by a user is not taken for a child.
    return module.__name__ == f"{parent_name}.{name}"


def _name_enumerations(root: ModuleType) -> None:
    from enum import EnumType  # here, where the extension modules have loaded it already

    pending = [root]
    while pending:
        module = pending.pop()
        for value in vars(module).values():
            if isinstance(value, EnumType):
                value.__module__ = module.__name__
        pending += _children(module)


class TreeFinder:
    """A meta path finder for the modules below ``zelmor``; it has no opinion on any other name.

    Where a shared object lies it asks the other finders, and adapts what the first of them has found. One of those
    may ask the others in its turn, and so come back here; it gets no answer for a name that this thread asks for
    already, since the two would ask each other without end.
    """

    _asked: ClassVar[set[tuple[int, str]]] = set()

    @classmethod
    def find_spec(
        cls, fullname: str, path: Sequence[str] | None = None, target: ModuleType | None = None
    ) -> ModuleSpec | None:
        """The spec of an extension module or of a tree's child; None sends the import system to the next finder."""
        if not fullname.startswith("zelmor."):
            return None
        if fullname.startswith(_TREE_PREFIXES):
            return cls._find_child(fullname)
        if fullname.count(".") == 1:
            return cls._find_module(fullname, path, target)
        return None

    @classmethod
    def _find_module(
        cls, fullname: str, path: Sequence[str] | None, target: ModuleType | None
    ) -> ModuleSpec | None:
        question = (get_ident(), fullname)
        if question in cls._asked:
            return None
        others: list[object] = [finder for finder in sys.meta_path if finder != cls]
        cls._asked.add(question)
        try:
            for finder in others:
                find_spec = getattr(finder, "find_spec", None)
                spec: ModuleSpec | None = None if find_spec is None else find_spec(fullname, path, target)
                if spec is not None:
                    cls._adapt(spec)
                    return spec
        finally:
            cls._asked.discard(question)
        return None

    @staticmethod
    def _adapt(spec: ModuleSpec) -> None:
        if not isinstance(spec.loader, ExtensionFileLoader) or spec.origin is None:
            return
        if spec.name in _TREE_ROOTS:
            spec.loader = _TreeLoader(spec.name, spec.origin)
            # An empty search path makes the shared object a package in which only this finder finds anything.
            spec.submodule_search_locations = []
        else:
            spec.loader = _FlatLoader(spec.name, spec.origin)

    @staticmethod
    def _find_child(fullname: str) -> ModuleSpec | None:
        parent_name, _, name = fullname.rpartition(".")
        parent = sys.modules.get(parent_name)
        if parent is None:
            return None
        child = vars(parent).get(name)
        if not isinstance(child, ModuleType) or not _is_child(parent_name, name, child):
            return None
        loader = _ChildLoader(child)
        # The import system asks a loader for methods, not for a base class.
        return ModuleSpec(
            fullname,
            loader,  # type: ignore[arg-type]
            origin=getattr(parent.__spec__, "origin", None),
            is_package=True,
        )


def install() -> None:
    """Put the finder in front of the path-based one, which would find the roots without their trees.

    The finder of an earlier import of the package gives way to it; a second call changes nothing.
    """
    finders: list[object] = sys.meta_path  # type: ignore[assignment]
    finders[:] = [finder for finder in finders if finder is TreeFinder or not _is_tree_finder(finder)]
    if TreeFinder not in finders:
        finders.insert(0, TreeFinder)


def _is_tree_finder(finder: object) -> bool:
    names = getattr(finder, "__module__", None), getattr(finder, "__qualname__", None)
    return names == (TreeFinder.__module__, TreeFinder.__qualname__)
