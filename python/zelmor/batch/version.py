"""The version that results depend on: jobs that another version did are done again."""

from __future__ import annotations

from zelmor import _version

VERSION: str = _version.VERSION
