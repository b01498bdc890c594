#!/usr/bin/env python3
"""How fast the work tree's library is beside that of a revision, row by row.

usage: compare.py REVISION [FILTER]

FILTER is a regular expression for the names of the rows. Both libraries are built with the flags
of a release, and the work tree's benchmarks drive both in one run: two processes on one processor
take turns within each row. Every row is prepared anew in each round, with memory elsewhere. The
speed of a row is the revision's shortest time divided by the work tree's; the spread are the least
and the most of the rounds. Exits with 1 when a row is more than 5 % slower in every round."""
import math
import os
import pathlib
import re
import subprocess
import sys

import revision

ROUNDS = 5
TURNS = 7  # of each side within a round
SLOWEST = 1 / 1.05


def built(name):
    """The folder with the revision's shared library."""
    folder = revision.ROOT / "build/compare" / name
    if not (folder / "tree").exists():
        revision.check_out(name, folder / "tree")
    for command in (["cmake", "-S", folder / "tree", "-B", folder / "build",
                     "-DCMAKE_BUILD_TYPE=Release", "-DKELVANE_BUILD_TOOLS=OFF",
                     "-DKELVANE_BUILD_TESTS=OFF", "-DKELVANE_BUILD_BENCH=OFF"],
                    ["cmake", "--build", folder / "build", "-j", str(os.cpu_count()), "--target",
                     "kelvane"]):
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    return folder / "build/src"


class Side:
    """A process that runs rows with one library."""

    def __init__(self, library):
        self.process = subprocess.Popen(
            [revision.ROOT / "build/release/bench/kelvane-row-times"], stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, text=True, bufsize=1,
            env={**os.environ, "LD_LIBRARY_PATH": str(library)})
        maps = self.ask("") and pathlib.Path(f"/proc/{self.process.pid}/maps").read_text()
        assert f"{os.path.realpath(library)}/libkelvane.so" in maps, f"runs without {library}"

    def ask(self, question):
        self.process.stdin.write(question + "\n")
        lines = iter(self.process.stdout.readline, "\n" if question == "" else None)
        if question == "":
            return [line.rstrip("\n") for line in lines]
        return float(next(lines))


def processor():
    info = pathlib.Path("/proc/cpuinfo").read_text()
    name = re.search(r"^model name\s*: (.*)", info, re.MULTILINE)
    return name[1] if name else os.uname().machine


def main(old_revision, wanted="."):
    name = revision.short_name(old_revision)
    sides = [Side(built(name)), Side(revision.ROOT / "build/release/src")]
    rows = [row for row in sides[1].ask("") if re.search(wanted, row)]
    rounds = {row: [] for row in rows}
    for number in range(ROUNDS):
        for row in rows:
            times = [[], []]
            for _ in range(TURNS):
                for side, measured in zip(sides, times):
                    measured.append(side.ask(row))
            rounds[row].append([min(measured) for measured in times])
        print(f"round {number + 1} of {ROUNDS}", file=sys.stderr)

    print(f"{processor()}; speed of the work tree, {name} = 1\n")
    print(f"{name + ', ms':>12} {'now, ms':>12} {'speed':>6} {'spread':>13}  row")
    speeds, slower = [], 0
    for row, measured in rounds.items():
        old, new = (min(times) for times in zip(*measured))
        ratios = [before / after for before, after in measured]
        speeds.append(old / new)
        is_slower = max(ratios + [old / new]) < SLOWEST
        slower += is_slower
        print(f"{1e3 * old:12.4f} {1e3 * new:12.4f} {old / new:6.3f} "
              f"{min(ratios):6.3f}-{max(ratios):.3f}  {row}{'  SLOWER' * is_slower}")
    mean = math.exp(sum(map(math.log, speeds)) / len(speeds))
    print(f"\ngeometric mean of {len(rows)} rows: {mean:.3f}; {slower} slower by more than 5 %")
    return slower > 0


if not 2 <= len(sys.argv) <= 3:
    sys.exit(__doc__)
sys.exit(main(*sys.argv[1:]))
