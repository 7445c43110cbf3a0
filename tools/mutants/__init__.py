"""Changes the C++ sources in one place at a time, and tells which of the changes the tests do not notice."""
