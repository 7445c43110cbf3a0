"""What the tests in Python share: the control interface of the runtime, its records and callbacks, pictures."""
