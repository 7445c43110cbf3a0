"""The errors that end a command as a whole."""


class UsageError(Exception):
    """Arguments that do not go together. It is shown with the usage of the command, which has the exit status 2."""


class EndedError(Exception):
    """Work that ended before all of it was done. It is shown alone; the command has the exit status 1."""
