#!/usr/bin/env python3
"""Which lines and branches of the library the tests reach, from what `llvm-cov export` writes.

All lines must be reached but as many as the document's table excuses in a file, and 95 % of the
branches. Arguments: exported lines (lcov), exported branches (JSON), document."""
import collections
import json
import pathlib
import re
import sys


def missed_lines(counts):
    """The number of lines, and those without a count."""
    lines, missed = 0, []
    for record in pathlib.Path(counts).read_text().split("end_of_record"):
        path = re.search(r"^SF:.*/(src/.*)", record, re.MULTILINE)
        for line, count in re.findall(r"^DA:(\d+),(\d+)", record, re.MULTILINE):
            lines += 1
            if count == "0":
                missed.append(f"{path[1]}:{line}")
    return lines, missed


def untaken_branches(counts):
    """The number of branches, and how many are not taken by place. The instances of a template take
    a branch together. A condition without any count is none: it is a constant of every instance, or
    nothing leads to it, which shows in the branch or the line before it."""
    taken = collections.defaultdict(lambda: [0, 0])
    for file in json.loads(pathlib.Path(counts).read_text())["data"][0]["files"]:
        path = re.search(r".*/(src/.*)", file["filename"])[1]
        for line, column, _, _, true, false, *_ in file["branches"]:
            both = taken[f"{path}:{line}", column]
            both[0] += true
            both[1] += false
    taken = {key: both for key, both in taken.items() if any(both)}
    untaken = collections.Counter()
    for (place, _), both in taken.items():
        untaken[place] += both.count(0)
    return 2 * len(taken), +untaken


def main(line_counts, branch_counts, document):
    excused = {path: int(count) for path, count in re.findall(
        r"^\| `(\S+)` \| (\d+) \|", pathlib.Path(document).read_text(), re.MULTILINE)}
    lines, missed = missed_lines(line_counts)
    branches, untaken = untaken_branches(branch_counts)
    print("lines that are not reached:", *missed, sep="\n  ")
    print("branches that are not taken:", *(f"{p} ({n})" for p, n in sorted(untaken.items())),
          sep="\n  ")
    share = 1 - untaken.total() / branches
    print(f"{lines - len(missed)} of {lines} lines, "
          f"{branches - untaken.total()} of {branches} branches ({share:.1%})")
    unexcused = collections.Counter(place.split(":")[0] for place in missed)
    unexcused.subtract(excused)
    return any(count > 0 for count in unexcused.values()) or share < 0.95


sys.exit(main(*sys.argv[1:]))
