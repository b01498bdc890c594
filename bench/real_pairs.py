#!/usr/bin/env python3
"""How well `kelvane changes` finds the shift between real pictures, and what moved in them.

usage: real_pairs.py TOOL PAIRS

PAIRS is a file with a line for each pair, of fields between tabs: the first and the second picture,
relative to the file, the true shift dx and dy (docs/json.md), and, where something moves, its true
rectangle in the second picture, left, top, right and bottom. Prints a table in Markdown, and per pair
to stderr: the error of the shift, and the intersection over union of the rectangles.
"""
import json
import pathlib
import subprocess
import sys


def intersection_over_union(a, b):
    width = min(a[2], b[2]) - max(a[0], b[0])
    height = min(a[3], b[3]) - max(a[1], b[1])
    common = max(0, width) * max(0, height)
    return common / (sum((r[2] - r[0]) * (r[3] - r[1]) for r in (a, b)) - common)


def read_pairs(path):
    for line in path.read_text().splitlines():
        first, second, *numbers = line.split("\t")
        shift, box = [float(n) for n in numbers[:2]], [int(n) for n in numbers[2:]]
        yield path.parent / first, path.parent / second, shift, box


def main(tool, pairs):
    errors, fits, all_changed, largest = [], 0, [], []
    for first, second, shift, box in read_pairs(pathlib.Path(pairs)):
        found = json.loads(subprocess.run([tool, "changes", first, second, "--json"], check=True,
                                          capture_output=True).stdout)
        errors.append(max(abs(found["dx"] - shift[0]), abs(found["dy"] - shift[1])))
        fits += found["fits"]
        scores = []
        if box:
            regions = [found["rect"]] + [region["rect"] for region in found["regions"][:1]]
            scores = [intersection_over_union(rect, box) if rect else 0.0 for rect in regions]
            all_changed.append(scores[0])
            largest.append(scores[1] if len(scores) > 1 else 0.0)
        print(second.name, f"{errors[-1]:.1f}", *(f"{score:.2f}" for score in scores), file=sys.stderr)
    print("| measured | pairs | result |\n|---|---|---|")
    print(f"| shift within 1.5 pixels | {len(errors)} | {sum(e <= 1.5 for e in errors)} |")
    print(f"| shift that is said to fit | {len(errors)} | {fits} |")
    for name, scores in (("all that changed", all_changed), ("largest region", largest)):
        if scores:
            print(f"| {name}: mean intersection over union | {len(scores)} | {sum(scores) / len(scores):.2f} |")
            print(f"| {name}: at least 0.5 | {len(scores)} | {sum(s >= 0.5 for s in scores)} |")


if __name__ == "__main__":
    main(*sys.argv[1:])
