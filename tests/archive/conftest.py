"""An archive to rank, and runs of kelvane-archive as real processes."""
import json
import os
import pathlib
import sqlite3
import subprocess
import sys
import time

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
TOOL = os.environ.get("KELVANE_TOOL", ROOT / "build/release/tools/kelvane")
PHOTOGRAPHS = 240


def environment():
    return {**os.environ, "PYTHONPATH": str(ROOT / "bindings/python"), "PYTHONWARNINGS": "ignore"}


def start(*arguments):
    return subprocess.Popen([sys.executable, "-m", "kelvane_archive", *map(str, arguments)],
                            env=environment(), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            text=True)


def finish(process):
    """What a process printed; fails unless it ended well."""
    out, err = process.communicate(timeout=150)
    assert process.returncode == 0, err
    return out


def dump(out):
    """The database as text."""
    with sqlite3.connect(out / "archive.sqlite") as base:
        return "\n".join(base.iterdump())


def answered(out):
    """The ids that the parts answer, in all."""
    return [json.loads(line)["answer"]["id"] for part in sorted((out / "parts").glob("part-*.jsonl"))
            for line in part.read_text().splitlines()]


def errors(out):
    with sqlite3.connect(out / "archive.sqlite") as base:
        return base.execute("SELECT path, reason FROM errors ORDER BY path").fetchall()


def await_part(out, process):
    """Waits until a run has written something and is still at it."""
    end = time.monotonic() + 120
    while not list((out / "parts").glob("part-*.jsonl")):
        assert process.poll() is None, process.communicate()[1]
        assert time.monotonic() < end
        time.sleep(0.02)


@pytest.fixture(scope="session")
def photos(tmp_path_factory):
    folder = tmp_path_factory.mktemp("photos")
    sources = sorted((ROOT / "build/recordings").glob("left*.jpg"))
    subprocess.run([sys.executable, ROOT / "tests/archive/make_archive.py", folder,
                    str(PHOTOGRAPHS), *sources], check=True)
    return folder


@pytest.fixture
def tool(tmp_path):
    """A tool that runs a line of shell, in which $batch is what it reads, before it ranks."""
    def made(line):
        script = tmp_path / "tool"
        script.write_text(f'#!/bin/bash\n[ "$1" = pick ] || exec {TOOL} "$@"\n'
                          f'batch=$(cat)\n{line}\n{TOOL} "$@" <<<"$batch"\n')
        script.chmod(0o755)
        return script
    return made


@pytest.fixture(scope="session")
def undisturbed(photos, tmp_path_factory):
    """The database of a run that nothing disturbed, as text."""
    out = tmp_path_factory.mktemp("undisturbed")
    finish(start("--tool", TOOL, "run", photos, "--out", out, "--processes", 2))
    assert not errors(out)
    return dump(out)
