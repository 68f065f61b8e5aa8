"""What scripts/bench measures, and how it shows it."""


class BenchError(Exception):
    """Something that a user can do something about. scripts/bench shows it and ends with status 1."""
