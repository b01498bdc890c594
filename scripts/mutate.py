#!/usr/bin/env python3
"""Changes one token of src/ at a time, and counts how many changes the tests of the library notice.

usage: mutate.py COUNT [--seed SEED] [--revision REVISION] [--jobs JOBS]

Which tokens are changed follows from the seed and the sources: comparisons, arithmetic, bits,
logic, constants and branches in turn, each kind drawn from all of src/. A change that does not
compile, or that leaves every object as it was, is replaced by the next one. Tests that take more
than five times their usual time count as a failure.

Left out, and listed at the start: what this processor cannot run, and what matches HINTS, which
changes how fast something is and never what it gives. Other changes without effect are counted:
the share is comparable between two revisions, not with 100 %."""
import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import queue
import random
import re
import resource
import shlex
import shutil
import subprocess
import sys

import revision

FLAGS = "-O1 -w"
HINTS = re.compile(r"prefetch|fetchedAhead|upcoming|\b\w*[aA]head\b|\b(un)?likely\b", re.IGNORECASE)
KEPT = re.compile(r"//.*|/\*.*?\*/|\"(?:\\.|[^\"\n])*\"|'(?:\\.|[^'\n])*'|^[ \t]*#(?:.*\\\n)*.*"
                  r"|static_assert\(.*", re.MULTILINE)
# Of each kind: what is found, and what may be put in its place.
TOKENS = {
    "comparison": {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="},
    "arithmetic": {"+": "-", "-": "+", "*": "+", "/": "*", "%": "/", "+=": "-=", "-=": "+=",
                   "++": "--", "--": "++"},
    "bits": {"<<": ">>", ">>": "<<", "&": "|", "|": "&", "^": "|", "&=": "|=", "|=": "&=",
             "<<=": ">>=", ">>=": "<<=", "~": ""},
    "logic": {"&&": "||", "||": "&&", "!": "", "true": "false", "false": "true", "min": "max",
              "max": "min"},
    "branch": {"break": "continue", "continue": "break"},  # and a condition that is turned round
    "constant": {},  # one more or one less
}
TOKEN = re.compile(
    r"(?P<number>(?<![\w.])(?:0x[0-9A-Fa-f]+|\d+(?:\.\d+)?(?:[eE]-?\d+)?)(?P<suffix>\w*)(?![\w.]))"
    r"|(?P<word>\b(?:true|false|min|max|break|continue|if)\b)"
    r"|(?P<binary>(?<= )(?:<<=|>>=|<=|>=|==|!=|&&|\|\||<<|>>|[-+*/%&|^]=?|[<>])(?= ))"
    r"|(?P<unary>\+\+|--|!(?=[\w(])|~(?=[\w(]))")

Change = collections.namedtuple("Change", "kind path start old new")


def condition_after(text, start):
    """The parentheses that follow with what is in them, or None."""
    depth = 0
    for end in range(start, len(text)):
        depth += {"(": 1, ")": -1}.get(text[end], 0)
        if depth == 0:
            return text[start:end + 1] if end > start else None
    return None


def changes_of(path, text, generator):
    for found in TOKEN.finditer(KEPT.sub(lambda kept: re.sub(r"[^\n]", "\0", kept[0]), text)):
        old, start = found[0], found.start()
        if old == "if":
            condition = condition_after(text, found.end() + 1)
            if condition:
                yield Change("branch", path, found.end() + 1, condition, f"(!{condition})")
        elif found["number"]:
            digits = old.removesuffix(found["suffix"])
            if re.fullmatch(r"0x\w+|\d+", digits):
                value = int(digits, 0)
                new = str(value + (generator.choice((-1, 1)) if value > 0 else 1))
            else:
                new = str(float(digits) + generator.choice((-1, 1)) * (float(digits) or 1) / 2)
            yield Change("constant", path, start, old, new + found["suffix"])
        else:
            kind = next((kind for kind, others in TOKENS.items() if old in others), None)
            if kind:
                yield Change(kind, path, start, old, TOKENS[kind][old])


def line_of(change, text):
    """The number of the line, and the line."""
    begin = text.rfind("\n", 0, change.start) + 1
    return text.count("\n", 0, begin) + 1, text[begin:text.find("\n", begin)]


def drawn(sources, seed):
    """Every change of the sources (text by path), in a random order, one kind after the other."""
    generator = random.Random(seed)
    kinds = {kind: [] for kind in TOKENS}
    for path, text in sorted(sources.items()):
        for change in changes_of(path, text, generator):
            if not HINTS.search(line_of(change, text)[1]):
                kinds[change.kind].append(change)
    for changes in kinds.values():
        generator.shuffle(changes)
    while any(kinds.values()):
        for changes in filter(None, kinds.values()):
            yield changes.pop()


def quietly(command, **options):
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          check=False, **options).returncode


class Build:
    """The tests, built once, and the commands that made the objects of the library."""

    def __init__(self, tree, jobs):
        self.tree, self.folder = tree, tree.parent / "build"
        for command in (
                ["cmake", "-G", "Unix Makefiles", "-S", tree, "-B", self.folder,
                 "-DCMAKE_BUILD_TYPE=None", f"-DCMAKE_CXX_FLAGS={FLAGS}",
                 "-DKELVANE_BUILD_TOOLS=OFF", "-DKELVANE_BUILD_BENCH=OFF"],
                ["cmake", "--build", self.folder, "-j", str(jobs), "--target", "kelvane-tests"]):
            done = subprocess.run(command, capture_output=True, text=True, check=False)
            if done.returncode != 0:
                sys.exit(done.stdout[-3000:] + done.stderr[-3000:])
        self.commands, self.readers, self.idle = {}, collections.defaultdict(set), []
        has = re.search(r"^(?:flags|Features)\s*:(.*)", pathlib.Path("/proc/cpuinfo").read_text(),
                        re.MULTILINE)[1].split()
        for entry in json.loads((self.folder / "compile_commands.json").read_text()):
            source = pathlib.Path(entry["file"])
            if not source.is_relative_to(tree / "src"):
                continue
            words = shlex.split(entry["command"])
            made = pathlib.Path(entry["directory"], words[words.index("-o") + 1])
            if not made.exists():
                continue
            self.commands[made] = words
            if any(re.fullmatch(r"-m(avx|sse)\w+", word) and word[2:] not in has for word in words):
                self.idle.append(str(source.relative_to(tree)))
                continue
            for read in re.findall(r"\S+", made.with_suffix(".o.d").read_text()):
                path = pathlib.Path(os.path.normpath(pathlib.Path(entry["directory"], read)))
                if path.is_relative_to(tree / "src"):
                    self.readers[str(path.relative_to(tree))].add(made)
        self.link = shlex.split((self.folder / "tests/CMakeFiles/kelvane-tests.dir/link.txt").read_text())
        self.batches, self.seconds = self.measured_batches()

    def measured_batches(self):
        """The names of the tests in groups, the fastest first, and what all take."""
        report = self.folder / "tests.json"
        before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
        if quietly([self.folder / "tests/kelvane-tests", f"--gtest_output=json:{report}"]) != 0:
            sys.exit("mutate: the tests fail without a change")
        seconds = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before
        times = sorted((float(test["time"].rstrip("s")), f"{suite['name']}.{test['name']}")
                       for suite in json.loads(report.read_text())["testsuites"]
                       for test in suite["testsuite"])
        batches, room, total = [[]], 0.2, 0
        for time, name in times:
            if total + time > room and batches[-1]:
                batches.append([])
                room, total = 2 * room, 0
            batches[-1].append(name)
            total += time
        return batches, seconds


class Worker:
    """Copies of src/ and of the library's objects, in which one change is made at a time."""

    def __init__(self, build, number):
        self.build, self.folder = build, build.tree.parent / f"worker-{number}"
        shutil.rmtree(self.folder, ignore_errors=True)
        shutil.copytree(build.tree / "src", self.folder / "src")
        self.program = self.folder / "tests"
        self.objects = {made: self.folder / f"{i}.o" for i, made in enumerate(build.commands)}
        for made, copy in self.objects.items():
            shutil.copyfile(made, copy)

    def compile(self, made):
        """Whether it compiles, and to another object."""
        words = [word.replace(f"{self.build.tree}/src", f"{self.folder}/src")
                 for word in self.build.commands[made]]
        words[words.index("-o") + 1] = str(self.objects[made])
        if quietly(words, cwd=self.folder) != 0:
            return None
        return self.objects[made].read_bytes() != made.read_bytes()

    def links(self):
        # The tests' own copies of inline functions give way to those of the library.
        words = [word for word in self.build.link if not word.endswith(".a") or "/src/" not in word]
        words[words.index("-o") + 1] = str(self.program)
        at = next(i for i, word in enumerate(words) if word.endswith(".o"))
        words[at:at] = map(str, self.objects.values())
        return quietly(words + ["-lm"], cwd=self.build.folder / "tests") == 0

    def passes(self):
        def restrict():
            most = int(5 * self.build.seconds + 5)
            resource.setrlimit(resource.RLIMIT_CPU, (most, most))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            pathlib.Path("/proc/self/oom_score_adj").write_text("1000")

        try:
            return all(quietly([self.program, "--gtest_fail_fast", "--gtest_filter=" + ":".join(batch)],
                               preexec_fn=restrict, timeout=20 * self.build.seconds + 60) == 0
                       for batch in self.build.batches)
        except subprocess.TimeoutExpired:
            return False

    def notices(self, change, text):
        """Whether the tests notice the change, or None when there is nothing to notice."""
        path = self.folder / change.path
        path.write_text(text[:change.start] + change.new + text[change.start + len(change.old):])
        compiled = []
        try:
            differs = False
            for made in sorted(self.build.readers[change.path]):
                compiled.append(made)
                result = self.compile(made)
                if result is None:
                    return None
                differs |= result
            return not (self.links() and self.passes()) if differs else None
        finally:
            path.write_text(text)
            for made in compiled:
                shutil.copyfile(made, self.objects[made])


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("count", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--revision", help="sources and tests of this revision")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parser.parse_args()

    name = options.revision and revision.short_name(options.revision)
    tree = revision.ROOT / "build/mutate" / (name or "work-tree") / "tree"
    revision.check_out(name, tree)
    build = Build(tree, options.jobs)
    every = {str(path.relative_to(build.tree)): path.read_text()
             for path in sorted((build.tree / "src").rglob("*")) if path.suffix in (".cpp", ".h")}
    sources = {path: text for path, text in every.items() if path in build.readers}
    hints = sum(bool(HINTS.search(line)) for text in sources.values() for line in text.split("\n"))
    print("left out, not run here:", *sorted((every.keys() - sources.keys()) | set(build.idle)))
    print(f"left out, hints on speed: {hints} lines that match {HINTS.pattern}", flush=True)

    workers = queue.SimpleQueue()
    for number in range(options.jobs):
        workers.put(Worker(build, number))

    def outcome(change):
        worker = workers.get()
        try:
            return change, worker.notices(change, sources[change.path])
        finally:
            workers.put(worker)

    noticed = tried = 0
    changes = drawn(sources, options.seed)
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        pending = collections.deque()
        while tried < options.count:
            while len(pending) < 2 * options.jobs and (change := next(changes, None)):
                pending.append(pool.submit(outcome, change))
            if not pending:
                break
            change, result = pending.popleft().result()
            if result is None:
                continue
            tried += 1
            noticed += result
            if tried % 50 == 0:
                print(f"{noticed} of {tried}", file=sys.stderr, flush=True)
            if not result:
                number, line = line_of(change, sources[change.path])
                text = f"{change.old} -> {change.new}    in: {line}"
                print(f"{change.path}:{number}: {' '.join(text.split())}", flush=True)
        for left in pending:
            left.cancel()
    print(f"{noticed} of {tried} changes were noticed ({noticed / max(tried, 1):.1%}), "
          f"seed {options.seed}")


main()
