"""The back end that writes the C++ sources of an assembly's wrappers."""
