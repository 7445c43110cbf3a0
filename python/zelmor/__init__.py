"""The package around the extension modules.

It teaches the import system two things before any of them is imported: to point the bridge to the embedded runtime
that lies beside the extension modules while one of them is loaded, and the module trees that two of them hold as
attributes, so that ``from zelmor.imaging.imageoptions import PngOptions`` works as
``zelmor.imaging.imageoptions.PngOptions`` does. It imports no extension module by itself.
"""

from zelmor import _importer  # an import in another thread may not wait for the end of this file

_importer.install()
