"""What is wrong with the reference."""


class Wrong(Exception):
    """In words, one finding a line."""
