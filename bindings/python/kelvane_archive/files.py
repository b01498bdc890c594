"""Files that appear whole or not at all."""
import contextlib
import os
import pathlib


def sync_folder(folder):
    """Makes the names in a folder last, as fsync does with the bytes of a file."""
    handle = os.open(folder, os.O_RDONLY)
    try:
        os.fsync(handle)
    finally:
        os.close(handle)


@contextlib.contextmanager
def written_whole(path, mode="w"):
    """Opens a file under a temporary name, which becomes `path` when everything is on the disk."""
    path = pathlib.Path(path)
    temporary = path.with_name(f".{path.name}.{os.getpid()}.part")
    text = {} if "b" in mode else {"encoding": "utf-8"}
    try:
        with open(temporary, mode, **text) as file:
            yield file
            file.flush()
            os.fsync(file.fileno())
        os.replace(temporary, path)
    except BaseException:
        temporary.unlink(missing_ok=True)
        raise
    sync_folder(path.parent)
