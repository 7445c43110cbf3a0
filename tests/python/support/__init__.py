"""What the tests in Python share: the control interface of the embedded runtime, its records and callbacks, pictures."""
