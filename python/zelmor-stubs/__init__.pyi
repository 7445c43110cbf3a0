"""The package around the extension modules."""
from zelmor import arrays as arrays, batch as batch, documentation as documentation, notebook as notebook
from zelmor import imaging as imaging, pycore as pycore, pydrawing as pydrawing, pygc as pygc, pyio as pyio
from zelmor import pyreflection as pyreflection
from zelmor._errors import DamagedImage as DamagedImage, ImageError as ImageError, LimitExceeded as LimitExceeded
from zelmor._errors import UnsupportedFormat as UnsupportedFormat, WrongType as WrongType
from zelmor._errors import plain_errors as plain_errors
from zelmor._opening import open as open, specific as specific
from zelmor._version import VERSION

__version__ = VERSION
