"""Pictures of many formats: loaded, converted, edited and saved.

The classes are in the extension module ``zelmor.imaging``. The package around it teaches the import system two things
before any extension module is imported: to point the bridge to the embedded runtime that lies beside the extension
modules while one of them is loaded, and the module trees that two of them hold as attributes, so that
``from zelmor.imaging.imageoptions import PngOptions`` works as ``zelmor.imaging.imageoptions.PngOptions`` does.

It also has a few comfortable names of its own, such as ``zelmor.open``. Each is imported when it is first used, so that
the import of the package costs next to nothing and loads no extension module.
"""

from zelmor import _importer  # an import in another thread may not wait for the end of this file

TYPE_CHECKING = False  # type checkers take it for true; the typing module would multiply the package's import time
if TYPE_CHECKING:
    from zelmor import arrays as arrays, batch as batch, documentation as documentation  # noqa: F401
    from zelmor import notebook as notebook  # noqa: F401
    from zelmor import imaging as imaging, pycore as pycore, pydrawing as pydrawing, pygc as pygc  # noqa: F401
    from zelmor import pyio as pyio, pyreflection as pyreflection  # noqa: F401
    from zelmor._errors import DamagedImage as DamagedImage, ImageError as ImageError  # noqa: F401
    from zelmor._errors import LimitExceeded as LimitExceeded, UnsupportedFormat as UnsupportedFormat  # noqa: F401
    from zelmor._errors import WrongType as WrongType, plain_errors as plain_errors  # noqa: F401
    from zelmor._opening import open as open, specific as specific  # noqa: F401
    from zelmor._version import VERSION as __version__  # noqa: F401

#: The names of the package, each with the module that has it, and its name there.
_NAMES = {
    "__version__": ("zelmor._version", "VERSION"),
    "open": ("zelmor._opening", "open"),
    "specific": ("zelmor._opening", "specific"),
    "plain_errors": ("zelmor._errors", "plain_errors"),
    "ImageError": ("zelmor._errors", "ImageError"),
    "UnsupportedFormat": ("zelmor._errors", "UnsupportedFormat"),
    "DamagedImage": ("zelmor._errors", "DamagedImage"),
    "LimitExceeded": ("zelmor._errors", "LimitExceeded"),
    "WrongType": ("zelmor._errors", "WrongType"),
}
#: The modules of the package.
_MODULES = frozenset({
    "arrays", "batch", "documentation", "imaging", "notebook", "pycore", "pydrawing", "pygc", "pyio", "pyreflection"})

_importer.install()


def __getattr__(name: str) -> object:
    """A name of the package, imported now; from then on it is an ordinary attribute."""
    from importlib import import_module

    if name in _MODULES:
        return import_module(f"{__name__}.{name}")
    if name not in _NAMES:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}", name=name, obj=None)
    module, inner = _NAMES[name]
    value: object = getattr(import_module(module), inner)
    globals()[name] = value
    return value


def __dir__() -> list[str]:
    """What a completion offers: the names that need an import too."""
    return sorted({*globals(), *_NAMES, *_MODULES})
