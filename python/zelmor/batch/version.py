"""The version that results depend on: jobs that another version did are done again."""

from __future__ import annotations

import zelmor

VERSION = str(zelmor.__version__)
