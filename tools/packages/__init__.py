"""Packages of the project: a wheel, a source distribution and Debian packages (docs/packaging.md)."""
