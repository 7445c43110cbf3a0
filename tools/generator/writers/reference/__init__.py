"""The back end that writes the pages of the API reference."""
