"""What a worker of the cluster does with a batch."""
import contextlib
import dataclasses
import pathlib
import tempfile

from . import batches, tool

TRIES = 2  # of a burst by itself, before its failure is its answer


@dataclasses.dataclass(frozen=True)
class Ranking:
    """How bursts are ranked, the same for a whole run."""
    tool: str
    options: tuple  # of `pick`
    memory: int = 0  # bytes for a process of the tool; 0 for no limit
    patience: float = 600  # seconds for one burst
    scratch: str = ""  # folder for what is fetched; the usual temporary one if empty


def error_answer(burst, reason):
    return {"id": burst["id"], "error": {"name": burst["files"][0], "reason": reason}}


def rank(batch, ranking):
    """The answers to the bursts of a batch, one for each, in their order."""
    with fetched(batch, ranking.scratch) as (local, names):
        answers = _rank_local(local, ranking)
    for answer in answers:
        _rename(answer, names)
    return answers


def _rank_local(batch, ranking, tried=0):
    answers, ended = tool.pick(ranking.tool, batch, ranking.options, ranking.memory,
                               ranking.patience)
    rest = [burst for burst in batch if burst["id"] not in answers]
    if len(rest) == 1:
        tried += len(batch) == 1
        if tried == TRIES:
            answers[rest[0]["id"]] = error_answer(rest[0], ended)
        else:
            answers[rest[0]["id"]] = _rank_local(rest, ranking, tried)[0]
    elif rest:
        for half in batches.halves(rest):
            answers.update({answer["id"]: answer for answer in _rank_local(half, ranking)})
    return [answers[burst["id"]] for burst in batch]


@contextlib.contextmanager
def fetched(batch, scratch):
    """The bursts with files of this machine, and what their files are called elsewhere.

    What URLs name is fetched into a folder that lasts as long as the batch, whose size limits it.
    """
    if not any("://" in file for burst in batch for file in burst["files"]):
        yield batch, {}
        return
    import fsspec
    names = {}
    with tempfile.TemporaryDirectory(dir=scratch or None, prefix="kelvane-") as folder:
        local = []
        for burst in batch:
            files = []
            for number, url in enumerate(burst["files"]):
                # Raw files belong to the picture with their stem, so names and order are kept.
                target = pathlib.Path(folder, str(len(local)), pathlib.PurePosixPath(url).name)
                target.parent.mkdir(exist_ok=True)
                # Whatever a file system raises, the tool will say that the file is not there.
                with contextlib.suppress(Exception):
                    filesystem, path = fsspec.core.url_to_fs(url)
                    filesystem.get_file(path, str(target))
                files.append(str(target))
                names[str(target)] = url
            local.append({**burst, "files": files})
        yield local, names


def _rename(value, names):
    """Puts the names of fetched files back, wherever an answer has a name."""
    if isinstance(value, dict):
        for key, part in value.items():
            if key == "companions":
                value[key] = [names.get(name, name) for name in part]
            elif key == "name":
                value[key] = names.get(part, part)
            else:
                _rename(part, names)
    elif isinstance(value, list):
        for part in value:
            _rename(part, names)
