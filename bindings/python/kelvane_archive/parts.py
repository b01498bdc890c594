"""The folder of a run: its list, the answers in parts, and a manifest."""
import fcntl
import hashlib
import json
import pathlib
import sqlite3

from .error import ArchiveError
from .files import written_whole

SCHEMA = 1


def burst_key(burst, ranking_text):
    """Changes when a file of a burst, an option or the version does."""
    text = json.dumps([burst, ranking_text], sort_keys=True, ensure_ascii=False)
    return hashlib.sha256(text.encode(errors="surrogatepass")).hexdigest()[:32]


class RunFolder:
    """What a run keeps. Only the process that made it writes here, one at a time."""

    def __init__(self, path):
        self.path = pathlib.Path(path)
        self.parts = self.path / "parts"
        self.list = self.path / "list.jsonl"
        self.manifest = self.path / "manifest.json"
        self.database = self.path / "archive.sqlite"

    def lock(self):
        """Makes the folder, and refuses a second run in it; the lock ends with the process."""
        self.parts.mkdir(parents=True, exist_ok=True)
        self._lock = open(self.path / ".lock", "w")
        try:
            fcntl.flock(self._lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError as error:
            raise ArchiveError(f"{self.path}: another run is writing here") from error
        for left in [*self.path.glob(".*.part"), *self.parts.glob(".*.part")]:
            left.unlink()  # of a run that was killed

    def part_files(self):
        return sorted(self.parts.glob("part-*.jsonl"))

    def answers(self):
        """What is in the parts: keys, the part and the place in it, and the answer."""
        for part in self.part_files():
            with open(part, "rb") as file:
                place = 0
                for line in file:
                    entry = json.loads(line)
                    yield entry["key"], (part, place), entry["answer"]
                    place += len(line)

    def add_part(self, entries):
        """Adds answers, as pairs of a key and an answer, which are there whole from now on."""
        used = self.part_files()
        number = int(used[-1].stem.split("-")[1]) + 1 if used else 1
        with written_whole(self.parts / f"part-{number:08}.jsonl") as file:
            for key, answer in entries:
                file.write(json.dumps({"key": key, "answer": answer}, ensure_ascii=False) + "\n")

    def write_manifest(self, **facts):
        with written_whole(self.manifest) as file:
            json.dump({"schema": SCHEMA, **facts}, file, indent=1)

    def read_manifest(self):
        try:
            return json.loads(self.manifest.read_text())
        except OSError as error:
            raise ArchiveError(f"{self.path}: no run has begun here: {error.strerror}") from error

    def open_database(self):
        if not self.database.exists():
            raise ArchiveError(f"{self.path}: has no database; let a run end first")
        base = sqlite3.connect(self.database)
        base.row_factory = sqlite3.Row
        return base

    def keyed_bursts(self, ranking_text):
        return ((burst, burst_key(burst, ranking_text)) for burst in self.bursts())

    def bursts(self):
        with open(self.list, encoding="utf-8") as file:
            for line in file:
                yield json.loads(line)
