"""The errors of a run as a whole; what goes wrong in a job is in its outcome."""


class ClusterError(RuntimeError):
    """A cluster that cannot be used."""


class ClusterLost(ClusterError):
    """A cluster that has gone in the middle of a run. What is done stays done."""


class JournalError(ValueError):
    """A journal that cannot be used."""
