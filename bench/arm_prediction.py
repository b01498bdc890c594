#!/usr/bin/env python3
"""Predicts cycles per pixel on 64-bit Arm, and writes them into docs/performance.md.

usage: arm_prediction.py PROGRAM

PROGRAM is kelvane-operation-runs for Arm. QEMU logs every basic block that it executes, which gives
exact counts of instructions; llvm-mca estimates the cycles of each chain of blocks that matters,
repeated."""
import collections
import os
import re
import subprocess
import sys

import report

PROCESSORS = ["cortex-a76", "cortex-x1"]
BLOCKS_THAT_MATTER = 0.99  # of the instructions of an operation
HOT_LOOP = 0.15
ITERATIONS = 100
PAINTING = re.compile(r"^(sceneAt|blockGrade|fillGrey565|Frame::)")
EXECUTED = re.compile(rb"^Trace [^/\n]*/0*([0-9a-f]+)/", re.MULTILINE)
TRANSLATED = re.compile(rb"^IN:.*\n((?:0x[0-9a-f]+:.*\n)+)", re.MULTILINE)


class Program:
    """The code, by address."""

    def __init__(self, path):
        self.instructions = {}
        self.functions = {}  # of every instruction
        self.addresses = {}  # of every function, the first and the last
        text = subprocess.run(["llvm-objdump", "-d", "-C", "--no-show-raw-insn", path],
                              capture_output=True, text=True, check=True).stdout
        function = ""
        for line in text.splitlines():
            if label := re.match(r"[0-9a-f]+ <(.*)>:$", line):
                function = short_name(label.group(1))
            elif code := re.match(r" *([0-9a-f]+): *\t(.*)", line):
                address = int(code.group(1), 16)
                self.instructions[address] = code.group(2)
                self.functions[address] = function
                first = self.addresses.get(function, (address, address))[0]
                self.addresses[function] = (first, address)

    def filter(self):
        """All addresses but those of painting the frames, which would fill the log."""
        painting = sorted(span for name, span in self.addresses.items() if PAINTING.search(name))
        ranges, first = [], 0
        for begin, end in painting:
            if begin > first:
                ranges.append(f"{first:#x}..{begin - 1:#x}")
            first = end + 4
        return ",".join(ranges + [f"{first:#x}..0xffffffff"])

    def addresses_after(self, block):
        """Where a block may go on, further down in the same function."""
        last = block[0] + 4 * (block[1] - 1)
        name, _, rest = self.instructions[last].partition("\t")
        target = re.search(r"0x([0-9a-f]+) <", rest)
        after = [] if name in ("b", "br", "ret") else [last + 4]
        after += [int(target.group(1), 16)] if target and name != "bl" else []
        return [address for address in after
                if address > block[0] and self.functions.get(address) == self.functions[last]]

    def assembly(self, chain):
        """What the assembler accepts, wherever the targets of branches lie."""
        lines = [self.instructions[first + 4 * i] for first, count in chain for i in range(count)]
        lines = ["nop" if line == "<unknown>" else line for line in lines]
        return "\n".join(re.sub(r"0x[0-9a-f]+ <.*>", "#0", line) for line in lines) + "\n"


def short_name(signature):
    name = re.sub(r"\(anonymous namespace\)::|kelvane::|\[clone [^]]*\]", "", signature)
    name = re.sub(r"\(.*|<.*", "", name).strip()
    return name.split(" ")[-1]


def trace(path, program):
    """For every run its name, its pixels, and how often each block was executed."""
    begin, end = (b"%x" % program.addresses[name][0] for name in ("measuredRun", "measuredRunEnds"))
    qemu = subprocess.Popen(
        ["qemu-aarch64", "-d", "in_asm,exec,nochain", "-dfilter", program.filter(), path],
        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    runs, lengths, tail, counting = [], {}, b"", False
    while chunk := qemu.stderr.read(1 << 22):
        # A cut between a block's listing and its execution would lose the listing.
        whole, mark, tail = (tail + chunk).rpartition(b"\nTrace")
        tail = mark + tail
        for listing in TRANSLATED.findall(whole):
            lines = listing.splitlines()
            lengths[lines[0].split(b":")[0][2:].lstrip(b"0")] = len(lines)
        executed = EXECUTED.findall(whole)
        while executed:
            mark = end if counting else begin
            position = executed.index(mark) if mark in executed else len(executed)
            if counting:
                runs[-1].update(executed[:position])
            if position < len(executed):
                counting = not counting
                if counting:
                    runs.append(collections.Counter())
            executed = executed[position + 1:]
    names = [line.split("\t") for line in qemu.stdout.read().decode().splitlines()]
    if qemu.wait() != 0 or len(names) != len(runs):
        sys.exit(f"{path}: {len(names)} operations, {len(runs)} runs")
    return [(name, int(pixels), {(int(pc, 16), lengths[pc]): n for pc, n in counts.items()})
            for (name, pixels), counts in zip(names, runs)]


def blocks_that_matter(counts):
    total = sum(block[1] * n for block, n in counts.items())
    seen = 0
    for block, n in sorted(counts.items(), key=lambda item: -item[0][1] * item[1]):
        if seen >= BLOCKS_THAT_MATTER * total:
            return
        seen += block[1] * n
        yield block


def chains_of(counts, program):
    """Chains of the blocks that matter, and how many instructions were executed in each. A block is
    part of one chain with those that nearly always follow it, as they are for a processor that
    foresees the branch between them; with either where one of two does."""
    left = {block[0]: block for block in sorted(blocks_that_matter(counts), key=counts.get)}
    chains = []
    while left:
        chain = [left.pop(min(left))]
        executed = counts[chain[0]]
        ends = []
        while not ends:
            after = [left[a] for a in program.addresses_after(chain[-1]) if a in left]
            for followers in [[block] for block in after] + [after]:
                if 0.8 < sum(counts[block] for block in followers) / executed < 1.25:
                    break
            else:
                ends = [()]
                break
            for block in followers:
                del left[block[0]]
            if len(followers) == 1:
                chain += followers
            else:
                ends = [(block,) for block in followers]
        for end in ends:
            length = sum(count for _, count in (*chain, *end))
            chains.append(((*chain, *end), length * (counts[end[0]] if end else executed)))
    return chains


def cycles_of(chains, program, processor):
    """Cycles per instruction of each chain, when it is repeated."""
    text = "".join(f"# LLVM-MCA-BEGIN {number}\n{program.assembly(chain)}# LLVM-MCA-END {number}\n"
                   for number, chain in enumerate(chains))
    done = subprocess.run(
        ["llvm-mca", "-mtriple=aarch64-linux-gnu", f"-mcpu={processor}",
         f"-iterations={ITERATIONS}", "-instruction-info=false", "-resource-pressure=false"],
        input=text, capture_output=True, text=True)
    totals = re.findall(r"^Total Cycles: *(\d+)", done.stdout, re.MULTILINE)
    if len(totals) != len(chains):
        sys.exit(done.stderr)
    return {chain: int(total) / ITERATIONS / sum(count for _, count in chain)
            for chain, total in zip(chains, totals)}


def hot_loops(counts, pixels, program):
    total = sum(block[1] * n for block, n in counts.items())
    parts = []
    for block in blocks_that_matter(counts):
        instructions = block[1] * counts[block]
        if instructions < HOT_LOOP * total:
            break
        parts.append(f"{program.functions[block[0]]} {report.figures(instructions / pixels)}")
    return ", ".join(parts)


def main():
    path = sys.argv[1]
    program = Program(path)
    runs = trace(path, program)
    chains = sorted({chain for _, _, counts in runs for chain, _ in chains_of(counts, program)})
    cycles = {name: cycles_of(chains, program, name) for name in PROCESSORS}
    version = re.search(r"version (\S+)", subprocess.run(
        ["llvm-mca", "--version"], capture_output=True, text=True, check=True).stdout).group(1)
    lines = []
    if cycles[PROCESSORS[0]] == cycles[PROCESSORS[1]]:
        lines += [f"llvm-mca {version} has one model for both processors, that of their smaller "
                  "ancestor Cortex-A57, so the columns agree.", ""]
    lines += ["| Operation | Instructions per pixel | " +
              " | ".join(f"Predicted cycles per pixel, {name}" for name in PROCESSORS) +
              " | Hot loops, instructions per pixel |", "|---|---:|---:|---:|---|"]
    for name, pixels, counts in runs:
        row = [name.replace("/", ", "),
               report.figures(sum(block[1] * n for block, n in counts.items()) / pixels)]
        for processor in PROCESSORS:
            predicted = sum(cycles[processor][chain] * executed
                            for chain, executed in chains_of(counts, program))
            row.append(report.figures(predicted / pixels))
        lines.append("| " + " | ".join(row + [hot_loops(counts, pixels, program)]) + " |")
    report.replace_between("docs/performance.md", "predicted", "\n".join(lines) + "\n")
    print("\n".join(lines))


main()
