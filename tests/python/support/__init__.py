"""Helpers of the tests in Python: the control interface of the runtime, its records and callbacks, pictures."""
