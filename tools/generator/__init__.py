"""Generator of the wrapper code: reads the API catalogue and writes plain C++ from it."""
