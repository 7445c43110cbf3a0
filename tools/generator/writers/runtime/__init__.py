"""The back end that writes the C++ tables of the embedded runtime."""
