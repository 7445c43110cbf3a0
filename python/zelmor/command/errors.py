"""The error of arguments that do not go together."""


class UsageError(Exception):
    """It is shown with the usage of the command, which then has the exit status 2."""
