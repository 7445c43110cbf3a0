"""The package around the extension modules.

It does two things before any of them is imported: it points the bridge to the embedded runtime that lies beside the
extension modules, and it teaches the import system the module trees that two of them hold as attributes, so that
``from zelmor.imaging.imageoptions import PngOptions`` works as ``zelmor.imaging.imageoptions.PngOptions`` does.
It imports no extension module by itself.
"""

import os

_RUNTIME_DIR = os.path.join(os.path.dirname(os.path.abspath(__file__)), "_runtime")

#: What the bridge reads when the first extension module starts the runtime: the root of the versioned runtime
#: directories, and the directory whose subdirectories hold managed assemblies.
_RUNTIME_VARIABLES = ("NETCORE_WRAPPER_NETCORE_DIR_zelmor", "NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor")


def _choose_runtime() -> None:
    """Point the bridge to the embedded runtime, each variable separately, unless the user has set it.

    An empty value counts as unset, as it does for the bridge. An installation without the embedded runtime leaves
    the variables alone: the bridge then looks beside the Python executable.
    """
    if not os.path.isdir(_RUNTIME_DIR):
        return
    for variable in _RUNTIME_VARIABLES:
        if not os.environ.get(variable):
            os.environ[variable] = _RUNTIME_DIR


_choose_runtime()

from zelmor import _importer  # noqa: E402  # an import in another thread may not wait for the end of this file

_importer.install()
