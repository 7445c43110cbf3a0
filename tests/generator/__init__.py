"""Tests of the generator: naming, identifiers, catalogue, model and writers."""
