"""Tests of the changes in single places: the tokens, the changes, and how they are tried."""
