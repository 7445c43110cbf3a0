"""Tests of the tool that reads an interop assembly's contract."""
