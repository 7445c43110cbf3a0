"""Imports of modules that an extension module holds as attributes.

``zelmor.imaging`` and ``zelmor.pydrawing`` are single shared objects with a tree of modules inside. The children
are ordinary module objects, reachable as attributes, but unknown to ``sys.modules`` and without a ``__path__``. The
finder of this file marks the shared object as a package when it is found, and answers an import of a child with the
very object that the parent's attribute names. Nothing is entered before it is asked for, and nothing is ever copied.

It also tells the tree's enumerations where they live: the enum module guesses that from the Python code that makes a
class, and there is none. With the right name members can be pickled.
"""

from __future__ import annotations

import sys
from enum import EnumType
from importlib.machinery import ExtensionFileLoader, ModuleSpec
from types import CodeType, ModuleType

#: The extension modules that hold a tree.
_TREE_ROOTS = ("zelmor.imaging", "zelmor.pydrawing")
_TREE_PREFIXES = tuple(root + "." for root in _TREE_ROOTS)


class _RootLoader(ExtensionFileLoader):
    """Loads the shared object of a tree."""

    def exec_module(self, module: ModuleType) -> None:
        """What the extension loader does, and the names of the enumerations."""
        super().exec_module(module)
        _name_enumerations(module)

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
    return [value for name, value in vars(parent).items() if _is_child(parent.__name__, name, value)]


def _is_child(parent_name: str, name: str, value: object) -> bool:
    # The name is compared so that a foreign module put on the tree by a user is not taken for a child.
    return isinstance(value, ModuleType) and value.__name__ == f"{parent_name}.{name}"


def _name_enumerations(root: ModuleType) -> None:
    pending = [root]
    while pending:
        module = pending.pop()
        for value in vars(module).values():
            if isinstance(value, EnumType):
                value.__module__ = module.__name__
        pending += _children(module)


class TreeFinder:
    """A meta path finder for the module trees below ``zelmor``; it has no opinion on any other name."""

    @classmethod
    def find_spec(
        cls, fullname: str, path: list[str] | None = None, target: ModuleType | None = None
    ) -> ModuleSpec | None:
        """The spec of a tree's root or child, or None: then other finders are asked, as for any missing module."""
        if not fullname.startswith("zelmor."):
            return None
        if fullname in _TREE_ROOTS:
            return cls._find_root(fullname, path, target)
        if fullname.startswith(_TREE_PREFIXES):
            return cls._find_child(fullname)
        return None

    @classmethod
    def _find_root(
        cls, fullname: str, path: list[str] | None, target: ModuleType | None
    ) -> ModuleSpec | None:
        for finder in sys.meta_path:
            find_spec = None if finder is cls else getattr(finder, "find_spec", None)
            spec = None if find_spec is None else find_spec(fullname, path, target)
            if spec is not None:
                if isinstance(spec.loader, ExtensionFileLoader):
                    spec.loader = _RootLoader(fullname, spec.loader.path)
                    # An empty search path makes the shared object a package in which only this finder finds anything.
                    spec.submodule_search_locations = []
                return spec
        return None

    @staticmethod
    def _find_child(fullname: str) -> ModuleSpec | None:
        parent_name, _, name = fullname.rpartition(".")
        parent = sys.modules.get(parent_name)
        child = None if parent is None else vars(parent).get(name)
        if not _is_child(parent_name, name, child):
            return None
        return ModuleSpec(fullname, _ChildLoader(child), origin=getattr(parent.__spec__, "origin", None), is_package=True)


def install() -> None:
    """Put the finder in front of the path-based one, which would find the roots without their trees.

    A second call, as by a reload of the package, changes nothing.
    """
    if TreeFinder not in sys.meta_path:
        sys.meta_path.insert(0, TreeFinder)
