"""The back end that writes the package of type stubs."""
