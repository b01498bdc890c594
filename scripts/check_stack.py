#!/usr/bin/env python3
"""How much stack every exported function can use, from the call graphs that GCC writes.

Compiles the library's sources once more, as the build does, and sums the frames along the deepest
path. A call through a pointer counts as the deepest function that is called in no other way, and a
function that calls itself as often as its depth is bounded.
Arguments: map of the exports, limit in bytes, folder of the build."""
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

# Only the search of the alignment calls itself: once for each level, of which 62 are accepted.
MOST_CALLS = {"_ZN7kelvane11searchLevelERKNS_6SearchERKNS_11SearchLevelEPl": 63}
C_LIBRARY = {"malloc", "free", "realloc", "memset", "memcpy", "memmove", "memcmp", "fmaf"}


def compile_graphs(build, folder):
    def compile_one(number, entry):
        command = re.sub(r" -o \S+", f" -o {folder}/{number}.s -S -fcallgraph-info=su",
                         entry["command"])
        # A compiler cache would not know of the second file.
        environment = {**os.environ, "CCACHE_DISABLE": "1"}
        subprocess.run(command, shell=True, check=True, cwd=entry["directory"], env=environment)

    entries = json.loads(pathlib.Path(build, "compile_commands.json").read_text())
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        jobs = [pool.submit(compile_one, number, entry) for number, entry in enumerate(entries)
                if "kelvane_objects.dir" in entry["command"]]
        for job in jobs:
            job.result()


def read_graph(folder):
    frames, calls = {}, {}
    for graph in pathlib.Path(folder).rglob("*.ci"):
        for line in graph.read_text().splitlines():
            node = re.match(r'node: { title: "(.*?)" label: ".*?\\n(\d+) bytes \((.*?)\)', line)
            edge = re.match(r'edge: { sourcename: "(.*?)" targetname: "(.*?)"', line)
            if node:
                assert "dynamic" != node[3], f"unbounded: {node[1]}"
                frames[node[1]] = int(node[2])
            if edge: # a constructor of complete objects (C1) is another name of that of bases (C2)
                calls.setdefault(edge[1], set()).add(re.sub(r"^(_ZN\w+?)C1E", r"\1C2E", edge[2]))
    return frames, calls


def deepest(name, frames, calls, indirect, path=()):
    if name in path:
        assert name in MOST_CALLS, f"recursion without a bound: {name}"
        return 0
    if name == "__indirect_call":
        return indirect
    if name not in frames:
        assert name in C_LIBRARY, f"unknown function: {name}"
        return 0
    below = max((deepest(callee, frames, calls, indirect, (*path, name))
                 for callee in calls.get(name, ())), default=0)
    return frames[name] * MOST_CALLS.get(name, 1) + below


def main(exports, limit, build):
    with tempfile.TemporaryDirectory() as folder:
        compile_graphs(build, folder)
        frames, calls = read_graph(folder)
    exported = re.findall(r"^    (\w+);", pathlib.Path(exports).read_text(), re.MULTILINE)
    assert len(exported) == 70 and frames.keys() >= set(exported), set(exported) - frames.keys()
    called = set().union(*calls.values())
    indirect = max((deepest(name, frames, calls, 0) for name in frames.keys() - called
                    if name not in exported), default=0)
    uses = sorted((deepest(name, frames, calls, indirect), name) for name in exported)
    for use, name in uses[-3:]:
        print(f"{use:6} bytes {name}")
    return uses[-1][0] >= int(limit)


sys.exit(main(*sys.argv[1:]))
