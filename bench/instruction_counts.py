#!/usr/bin/env python3
"""Counts the instructions that every operation takes for a pixel, and compares with the table.

usage: instruction_counts.py PROGRAM [--update]

PROGRAM is kelvane-operation-runs. It runs under callgrind, which counts the same on a busy machine
as on an idle one. Valgrind knows no AVX-512, so these are the AVX2 variants. A rise beyond the
tolerance fails; a fall is told, so that the table can follow with --update."""
import glob
import os
import re
import subprocess
import sys
import tempfile

TABLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "instruction_counts.tsv")
TOLERANCE = 0.03
HEADER = "operation\tinstructions per pixel\n"


def count(program):
    """Instructions per pixel by operation, in the order of the runs."""
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run(
            ["valgrind", "--tool=callgrind", "--toggle-collect=measuredRun",
             "--dump-after=measuredRun", f"--callgrind-out-file={folder}/counts", program],
            capture_output=True, text=True)
        if done.returncode != 0:
            sys.exit(done.stderr)
        runs = [line.split("\t") for line in done.stdout.splitlines()]
        dumps = glob.glob(folder + "/counts.*")
        if len(dumps) != len(runs):
            sys.exit(f"{len(runs)} operations gave {len(dumps)} counts")
        counts = {}
        for number, (name, pixels) in enumerate(runs, 1):
            with open(f"{folder}/counts.{number}", encoding="utf-8") as dump:
                total = re.search(r"^(?:summary|totals): (\d+)", dump.read(), re.MULTILINE)
            counts[name] = int(total.group(1)) / int(pixels)
        return counts


def read_table():
    with open(TABLE, encoding="utf-8") as table:
        rows = [line.rstrip("\n").split("\t") for line in table][1:]
    return {name: float(value) for name, value in rows}


def write_table(counts):
    with open(TABLE, "w", encoding="utf-8") as table:
        table.write(HEADER)
        table.writelines(f"{name}\t{value:.4f}\n" for name, value in counts.items())


def compare(counts, table):
    """Prints the table with the changes. Returns whether nothing rose."""
    good = counts.keys() == table.keys()
    for name, value in counts.items():
        change = value / table[name] - 1 if name in table else 0
        remark = "" if name in table else "not in the table"
        if abs(change) > TOLERANCE:
            remark = f"{100 * change:+.1f} %" + (" TOO MANY" if change > 0 else " fewer")
        good = good and change <= TOLERANCE
        print(f"{value:10.3f}  {name}  {remark}".rstrip())
    for name in table.keys() - counts.keys():
        print(f"{'':10}  {name}  did not run")
    return good


def main():
    with open("/proc/cpuinfo", encoding="utf-8") as processor:
        if " avx2" not in processor.read():
            print("skipped: the counts are those of the AVX2 variants, which do not run here")
            return
    counts = count(sys.argv[1])
    if sys.argv[2:] == ["--update"]:
        write_table(counts)
    table = read_table()
    print("Instructions per pixel, AVX2:")
    if not compare(counts, table):
        sys.exit("counts: above bench/instruction_counts.tsv, or other operations than there; "
                 "./dev counts --update accepts them")
    print(f"counts: {len(counts)} operations within {100 * TOLERANCE:.0f} % of the table")


main()
