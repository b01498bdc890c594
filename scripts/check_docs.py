#!/usr/bin/env python3
"""Runs what the documentation shows.

usage: check_docs.py --prefix TREE [--recordings DIR] FILE.md...

Every fenced block of a document is run in a scratch folder of that document, in which the
recordings lie, with TREE's tool, library Java classes and Python package at hand:

  sh                 run by bash -eu; must succeed
  console, none      when it begins with "$ ": the commands after "$ " are run, and what they print
                     must be what follows them; a line "[...]" stands for any lines
  c, cpp             compiled and run when it has a main function, otherwise only compiled
  python             run; must succeed
  java               run when it has a main method, otherwise only compiled
  json               parsed
  output             must be what the block before it printed
  text, none         nothing

A comment on the line before a block changes that:

  <!-- not run: REASON -->    it is not touched, and counted with its reason
  <!-- file: NAME -->         it is written to NAME in the scratch folder, and not run by itself
  <!-- first: COMMAND -->     COMMAND is run before it
  <!-- then: COMMAND -->      COMMAND is run after it
  <!-- output of: COMMAND --> the block, or the table, must be what COMMAND prints

Links to files of the repository must lead somewhere. $KELVANE_SOURCE is its root.
"""
import argparse
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
FENCE = re.compile(r"^ {0,3}(`{3,}|~{3,})\s*([\w+-]*)")
DIRECTIVE = re.compile(r"^ {0,3}<!-- (not run|file|first|then|output of): (.+) -->$")
TIME_LIMIT = 120  # seconds


class Failure(Exception):
    pass


class Block:
    def __init__(self, line, language, text, directives):
        self.line, self.language, self.text, self.directives = line, language, text, directives


def blocks_of(lines):
    """The fenced blocks of a document, and its tables that have a directive."""
    directives, i = [], 0
    while i < len(lines):
        start, fence = i + 1, FENCE.match(lines[i])
        found = DIRECTIVE.match(lines[i])
        i += 1
        if found:
            directives.append(found.groups())
        elif fence:
            begin = i
            while i < len(lines) and lines[i].strip() != fence[1]:
                i += 1
            if i == len(lines):
                raise Failure(f"{start}: the block does not end")
            yield Block(start, fence[2], "\n".join(lines[begin:i]) + "\n", directives)
            directives, i = [], i + 1
        elif directives and lines[start - 1].startswith("|"):
            while i < len(lines) and lines[i].startswith("|"):
                i += 1
            yield Block(start, "table", "\n".join(lines[start - 1:i]) + "\n", directives)
            directives = []
        elif directives and lines[start - 1].strip():
            raise Failure(f"{start}: a comment for the test, and no block after it")
        elif re.match(r" {4}\S", lines[start - 1]) and start > 1 and not lines[start - 2].strip() \
                and not in_list(lines, start - 2):
            raise Failure(f"{start}: fence this block, so that it can be run")


def in_list(lines, i):
    """Whether indented text after line i continues an item of a list."""
    while i >= 0 and (not lines[i].strip() or lines[i].startswith(" ")):
        i -= 1
    return i >= 0 and re.match(r"([-*+]|\d+[.)])\s", lines[i]) is not None


class Runner:
    def __init__(self, prefix, recordings, scratch):
        self.scratch = scratch
        libraries = [path.parent for path in prefix.rglob("libkelvane*.so")]
        if recordings:
            for file in recordings.iterdir():
                if file.is_file():
                    shutil.copy(file, scratch)
        search = ":".join(map(str, libraries))
        packages = [path.parent.parent for path in prefix.rglob("kelvane/__init__.py")]
        self.python = os.environ.get("PYTHON", "/usr/bin/python3")
        self.jar = next(prefix.rglob("kelvane.jar"), None)
        self.env = dict(
            os.environ, LC_ALL="C.UTF-8", KELVANE_SOURCE=str(ROOT), CMAKE_PREFIX_PATH=str(prefix),
            PATH=f"{prefix}/bin:{os.environ['PATH']}", LD_LIBRARY_PATH=search, LIBRARY_PATH=search,
            CPATH=f"{prefix}/include", PYTHONPATH=":".join(map(str, packages)), PKG_CONFIG_PATH=":".join(f"{d}/pkgconfig" for d in libraries))
        self.printed = ""

    def run(self, command):
        if self.jar:  # where the package puts it
            command = command.replace("/usr/share/java/kelvane.jar", str(self.jar))
        done = subprocess.run(["bash", "-euo", "pipefail", "-c", command], cwd=self.scratch,
                              env=self.env, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, timeout=TIME_LIMIT)
        self.printed = done.stdout
        if done.returncode != 0:
            raise Failure(f"exit status {done.returncode} of\n{command}\n{done.stdout}")

    def expect(self, text):
        pattern = "".join("(.*\n)*?" if line.strip() == "[...]" else re.escape(line.rstrip()) + r" *\n"
                          for line in text.rstrip("\n").split("\n"))
        if not re.fullmatch(pattern, self.printed.rstrip("\n") + "\n"):
            raise Failure(f"the document says\n{text}\nbut this was printed\n{self.printed}")

    def transcript(self, text):
        for part in re.split(r"^\$ ", text, flags=re.M)[1:]:
            command, _, output = part.partition("\n")
            while command.endswith("\\"):
                line, _, output = output.partition("\n")
                command += "\n" + line
            self.run(command)
            self.expect(output)

    def program(self, language, text):
        compiler = {"c": "cc -std=c99 -x c", "cpp": "c++ -std=c++20 -x c++"}[language]
        suffix = {"c": "c", "cpp": "cpp"}[language]
        (self.scratch / f"block.{suffix}").write_text(text)
        has_main = re.search(r"\bmain\s*\(", text)
        self.run(f"{compiler} -Wall -Wextra -Werror block.{suffix} -x none " +
                 ("-o block -lkelvane && ./block" if has_main else "-c -o block.o"))

    def java(self, text):
        name = re.search(r"\bclass\s+(\w+)", text)[1]
        (self.scratch / f"{name}.java").write_text(text)
        tool = "java" if "void main(" in text else "javac -d classes"
        self.run(f"{tool} -cp /usr/share/java/kelvane.jar {name}.java")

    def block(self, block):
        """Whether the block was run, and not only read."""
        directives = dict(block.directives)
        if "first" in directives:
            self.run(directives["first"])
        tested = self.content(block, directives)
        if "then" in directives:
            self.run(directives["then"])
        return tested

    def content(self, block, directives):
        if "output of" in directives:
            self.run(directives["output of"])
            self.expect(block.text)
        elif "file" in directives:
            file = self.scratch / directives["file"]
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(block.text)
        elif block.language in ("sh", "bash", "shell"):
            self.run(block.text)
        elif block.language in ("", "console") and block.text.startswith("$ "):
            self.transcript(block.text)
        elif block.language in ("c", "cpp"):
            self.program(block.language, block.text)
        elif block.language == "java":
            self.java(block.text)
        elif block.language == "python":
            (self.scratch / "block.py").write_text(block.text)
            self.run(f"{self.python} block.py")
        elif block.language == "json":
            json.loads(block.text)
        elif block.language == "output":
            self.expect(block.text)
        elif block.language in ("", "text"):
            return False
        else:
            raise Failure(f"no way to run {block.language}; say '<!-- not run: REASON -->'")
        return True


def check_links(document, text, failed):
    for target in re.findall(r"\]\(([^)#\s]+)[^)]*\)", re.sub(r"```.*?```", "", text, flags=re.S)):
        if "://" not in target and not (document.parent / target).exists():
            failed.append(f"{document.name}: a link leads nowhere: {target}")


def test(document, options):
    """What became of a document: the count of blocks run, and lists of those left and failed."""
    text = document.read_text()
    run, left, failed = 0, [], []
    with tempfile.TemporaryDirectory() as scratch:
        runner = Runner(options.prefix, options.recordings, pathlib.Path(scratch))
        try:
            check_links(document, text, failed)
            for block in blocks_of(text.split("\n")):
                where = f"{document.name}:{block.line}"
                reason = dict(block.directives).get("not run")
                if reason:
                    left.append(f"{where}: not run: {reason}")
                    continue
                try:
                    run += runner.block(block)
                except (Failure, ValueError, OSError, subprocess.TimeoutExpired) as error:
                    failed.append(f"{where}: {error}")
        except Failure as error:
            failed.append(f"{document.name}:{error}")
    return run, left, failed


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--prefix", type=pathlib.Path, required=True)
    parser.add_argument("--recordings", type=pathlib.Path)
    parser.add_argument("documents", type=pathlib.Path, nargs="+")
    options = parser.parse_args()
    options.prefix = options.prefix.resolve()
    total, all_left, all_failed = 0, [], []
    for document in options.documents:
        start = time.monotonic()
        run, left, failed = test(document.resolve(), options)
        print(f"{document}: {run} run, {len(left)} not run, {len(failed)} failed, "
              f"{time.monotonic() - start:.1f} s")
        total += run
        all_left += left
        all_failed += failed
    print("\n".join(all_left + all_failed))
    print(f"docs: {total} blocks run, {len(all_left)} not run, {len(all_failed)} failed")
    return 1 if all_failed else 0


if __name__ == "__main__":
    sys.exit(main())
