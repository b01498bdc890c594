"""What ends a run with one line."""


class ArchiveError(Exception):
    """The reason and the way out, for people."""
