#!/usr/bin/env python3
"""Which lines and branches of the library the tests reach, from what `llvm-cov export` writes.

All lines must be reached but as many as the document's table excuses in a file, and 95 % of the
branches. Arguments: exported counts, document."""
import collections
import pathlib
import re
import sys


def main(counts, document):
    excused = {path: int(count) for path, count in re.findall(
        r"^\| `(\S+)` \| (\d+) \|", pathlib.Path(document).read_text(), re.MULTILINE)}
    lines, missed = 0, []
    branches, untaken = 0, collections.Counter()
    for record in pathlib.Path(counts).read_text().split("end_of_record"):
        path = re.search(r"^SF:.*/(src/.*)", record, re.MULTILINE)
        if not path:
            continue
        for line, count in re.findall(r"^DA:(\d+),(\d+)", record, re.MULTILINE):
            lines += 1
            if count == "0":
                missed.append(f"{path[1]}:{line}")
        # The instances of a template take a branch together.
        taken = collections.Counter()
        for line, place, count in re.findall(r"^BRDA:(\d+),(\d+,\d+),([\d-]+)", record,
                                             re.MULTILINE):
            taken[int(line), place] += 0 if count == "-" else int(count)
        branches += len(taken)
        for (line, _), count in taken.items():
            untaken[f"{path[1]}:{line}"] += count == 0
    untaken = +untaken
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
