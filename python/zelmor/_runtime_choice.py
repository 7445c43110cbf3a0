"""Which runtime the bridge starts: the one that lies beside the extension modules, unless the user names another.

Every module on the bridge reads two environment variables while it is loaded: the first one starts the runtime that
they name, those after it find it by them. The variables say something about this installation, and a process inherits
the environment of its parent, so that they are set for the time of a load only: a program that runs another
installation's interpreter does not send it to the runtime of this one.
"""

from __future__ import annotations

import os
from _thread import RLock  # type: ignore[attr-defined]  # the stubs of the checker lack it

_RUNTIME_DIR = os.path.join(os.path.dirname(os.path.abspath(__file__)), "_runtime")

#: The root of the versioned runtime directories, and the directory whose subdirectories hold managed assemblies.
_VARIABLES = ("NETCORE_WRAPPER_NETCORE_DIR_zelmor", "NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor")


class _ChosenRuntime:
    """A context in which the two variables name the embedded runtime, each separately, unless the user has set it.

    An empty value counts as unset, as it does for the bridge. An installation without the embedded runtime leaves
    the variables alone: the bridge then looks beside the Python executable.

    A module loads others while it is loaded itself, and threads load modules beside each other: the variables are set
    by the first load that begins, and put back by the last one that ends.
    """

    def __init__(self) -> None:
        self._lock = RLock()  # what a load runs may load again
        self._loads = 0
        self._found: dict[str, str | None] = {}

    def __enter__(self) -> None:
        with self._lock:
            self._loads += 1
            if self._loads > 1 or not os.path.isdir(_RUNTIME_DIR):
                return
            for variable in _VARIABLES:
                value = os.environ.get(variable)
                if not value:
                    self._found[variable] = value
                    os.environ[variable] = _RUNTIME_DIR

    def __exit__(self, *error: object) -> None:
        with self._lock:
            self._loads -= 1
            if self._loads > 0:
                return
            for variable, value in self._found.items():
                if os.environ.get(variable) != _RUNTIME_DIR:
                    continue  # the program has chosen for itself in the meantime
                if value is None:
                    del os.environ[variable]
                else:
                    os.environ[variable] = value
            self._found.clear()


chosen_runtime = _ChosenRuntime()
