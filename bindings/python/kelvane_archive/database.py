"""The answers of a run as one SQLite database (docs/scaling.md)."""
import json
import os
import sqlite3

from .files import sync_folder

SCHEMA = """
CREATE TABLE bursts (
    burst INTEGER PRIMARY KEY,   -- from 1, in the order of the list
    name TEXT NOT NULL,          -- the id of its line
    part INTEGER NOT NULL,       -- from 0, of a line whose pictures have several sizes
    start TEXT,                  -- when its first picture was taken; with zone
    zone TEXT,
    reason TEXT,                 -- why its pictures are one burst
    UNIQUE (name, part));
CREATE TABLE frames (
    frame INTEGER PRIMARY KEY,
    burst INTEGER NOT NULL REFERENCES bursts,
    number INTEGER NOT NULL,     -- in its burst, from 0
    path TEXT NOT NULL,
    taken TEXT,
    width INTEGER, height INTEGER,
    blur INTEGER,                -- the blur score
    total REAL,                  -- what decides (docs/scoring.md)
    answer TEXT NOT NULL);       -- all of it, as JSON
CREATE TABLE companions (
    frame INTEGER NOT NULL REFERENCES frames,
    path TEXT NOT NULL);
CREATE TABLE choices (
    frame INTEGER PRIMARY KEY REFERENCES frames,
    burst INTEGER NOT NULL REFERENCES bursts,
    best INTEGER NOT NULL);      -- 1 for the best, 0 for others that are kept
CREATE TABLE errors (
    name TEXT,                   -- the id of the line; null for what was not listed
    path TEXT,
    reason TEXT NOT NULL);
CREATE INDEX frames_of_burst ON frames (burst);
CREATE INDEX frames_by_path ON frames (path);
CREATE INDEX bursts_by_start ON bursts (start);
CREATE INDEX choices_of_burst ON choices (burst);
CREATE INDEX companions_of_frame ON companions (frame);
CREATE INDEX errors_of_line ON errors (name);
"""


def _places(folder):
    """Where the answer of each key is. Only places are held in memory."""
    return {key: place for key, place, _ in folder.answers()}


def _answer_at(place, files):
    part, offset = place
    if part not in files:
        if len(files) > 100:
            files.popitem()[1].close()
        files[part] = open(part, "rb")
    files[part].seek(offset)
    return json.loads(files[part].readline())["answer"]


class _Writer:
    def __init__(self, base):
        self._base, self._burst, self._frame = base, 0, 0

    def add(self, line, answer):
        if "error" in answer:
            error = answer["error"]
            self.error(line["id"], error["name"], error["reason"])
            return
        for skipped in answer.get("skipped", []):
            self.error(line["id"], skipped["name"], skipped["reason"])
        taken = dict(zip(line["files"], line.get("times", [])))
        for part, burst in enumerate(answer.get("bursts", [answer])):
            self._add_burst(line, part, burst, taken)

    def error(self, name, path, reason):
        self._base.execute("INSERT INTO errors VALUES (?, ?, ?)", (name, path, reason))

    def _add_burst(self, line, part, burst, taken):
        self._burst += 1
        self._base.execute("INSERT INTO bursts VALUES (?, ?, ?, ?, ?, ?)", (
            self._burst, str(line["id"]), part, taken.get(burst["frames"][0]["name"]),
            line.get("zone"), line.get("reason")))
        for frame in burst["frames"]:
            self._frame += 1
            self._base.execute("INSERT INTO frames VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)", (
                self._frame, self._burst, frame["index"], frame["name"], taken.get(frame["name"]),
                frame["width"], frame["height"], frame["blur"], frame["terms"]["total"],
                json.dumps(frame, ensure_ascii=False)))
            self._base.executemany("INSERT INTO companions VALUES (?, ?)",
                                   [(self._frame, path) for path in frame["companions"]])
            if frame["chosen"]:
                self._base.execute("INSERT INTO choices VALUES (?, ?, ?)",
                                   (self._frame, self._burst, int(frame["best"])))


def build(folder, ranking_text):
    """Makes the database anew from the list and the parts: the same for the same answers.

    Returns the number of bursts in the list.
    """
    places, files, lines = _places(folder), {}, 0
    temporary = folder.path / ".archive.sqlite.part"
    temporary.unlink(missing_ok=True)
    base = sqlite3.connect(temporary)
    try:
        with base:
            base.executescript(SCHEMA)
            writer = _Writer(base)
            for problem in folder.read_manifest()["left_out"]:
                path, _, reason = problem.removeprefix("kelvane: ").partition(": skipped: ")
                writer.error(None, path, reason)
            for line, key in folder.keyed_bursts(ranking_text):
                writer.add(line, _answer_at(places[key], files))
                lines += 1
    finally:
        base.close()
        for file in files.values():
            file.close()
    os.replace(temporary, folder.database)
    sync_folder(folder.path)
    return lines
