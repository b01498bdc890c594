#!/usr/bin/env python3
"""Changes one token of the library at a time and counts how many changes the tests notice.

Works on a copy below build/. Arguments: number of changes (44), seed (1). Which tokens are changed
follows from the seed and the sources alone: a comparison, a constant, a sign, or what is added
before rounding. A change that does not compile, or that docs/coverage.md lists because it changes
no result, is replaced by another; one after which the tests run for more than a minute counts as
noticed."""
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys

COPY = pathlib.Path("build/mutate")
TOKEN = re.compile(
    r"(?P<skipped>//.*|/\*.*?\*/|\"(?:\\.|[^\"])*\"|'(?:\\.|[^'])*'|^\s*#.*|static_assert\(.*|"
    r"case .*?:|\[\w*\])"
    r"|(?P<comparison>(?<= )(?:<=|>=|==|!=|<|>)(?= ))"
    r"|(?P<sign>(?<= )[+-](?= )|(?<= )[+-](?==)|\+\+|--)"
    r"|(?P<rounding>(?<=\+ )(?:0\.5f?|1 <<)|(?<=, )0\.5f?(?=\)))"
    r"|(?P<constant>(?<![\w.])(?:0x[0-9A-Fa-f]+|\d+)u?(?![\w.{]))", re.MULTILINE)
OTHER = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "+": "-", "-": "+",
         "++": "--", "--": "++", "0.5f": "0.0f", "0.5": "0.0", "1 <<": "0 <<"}


def changes_of(path):
    """Every possible change as (kind, path, position, old, new)."""
    text = path.read_text()
    for token in TOKEN.finditer(text):
        kind, old = token.lastgroup, token[0]
        if kind == "skipped":
            continue
        new = OTHER.get(old)
        if kind == "constant":
            new = str(int(old.rstrip("u"), 0) + 1) + "u" * old.endswith("u")
        yield kind, path, token.start(), old, new


def drawn(seed):
    """The changes in a random order, one kind after the other."""
    generator = random.Random(seed)
    kinds = {}
    # What other processors run is not compiled here.
    for path in sorted(p for p in pathlib.Path("src").rglob("*.*") if "_neon" not in p.name):
        for change in changes_of(path) if path.suffix in (".cpp", ".h") else ():
            kinds.setdefault(change[0], []).append(change)
    for changes in kinds.values():
        generator.shuffle(changes)
    while any(kinds.values()):
        for kind in sorted(kinds):
            if kinds[kind]:
                yield kinds[kind].pop()


def is_listed(change):
    """Whether the document has a row with this file, part of a line, and change."""
    _, path, start, old, new = change
    text = path.read_text()
    line = text[text.rfind("\n", 0, start) + 1:text.find("\n", start)]
    rows = re.findall(r"^\| `(.+?)` \| `(.+?)` \| `(.+?)` to `(.+?)` \|",
                      pathlib.Path("docs/coverage.md").read_text(), re.MULTILINE)
    return any((file, before, after) == (str(path), old, new) and part in line
               for file, part, before, after in rows)


def build():
    return subprocess.run(["cmake", "--build", COPY / "build", "-j", str(os.cpu_count()),
                           "--target", "kelvane-tests"], capture_output=True, check=False)


def passes():
    try:
        return subprocess.run([COPY / "build/tests/kelvane-tests", "--gtest_fail_fast",
                               "--gtest_brief=1"], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, check=False, timeout=60).returncode == 0
    except subprocess.TimeoutExpired:
        return False


def outcome(change):
    """Whether the tests notice the change, or None when it does not compile or changes nothing."""
    _, path, start, old, new = change
    copy, text = COPY / path, path.read_text()
    library = COPY / "build/src/libkelvane_static.a"
    before = library.read_bytes()
    copy.write_text(text[:start] + new + text[start + len(old):])
    try:
        if build().returncode != 0 or library.read_bytes() == before:
            return None
        return not passes()
    finally:
        copy.write_text(text)


def copy_sources():
    """Leaves alone what is there already, so that it is not compiled again."""
    roots = [pathlib.Path(name) for name in ("cmake", "include", "packaging", "src", "tests")]
    for path in [pathlib.Path("CMakeLists.txt"), *(p for root in roots for p in root.rglob("*"))]:
        copy = COPY / path
        if path.is_dir():
            copy.mkdir(parents=True, exist_ok=True)
        elif not copy.exists() or copy.read_bytes() != path.read_bytes():
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(path, copy)


def main(count=44, seed=1):
    copy_sources()
    subprocess.run(["cmake", "-S", COPY, "-B", COPY / "build", "-DCMAKE_BUILD_TYPE=None",
                    "-DCMAKE_CXX_FLAGS=-O1", "-DKELVANE_BUILD_TOOLS=OFF",
                    "-DKELVANE_BUILD_BENCH=OFF"], capture_output=True, check=True)
    assert build().returncode == 0 and passes(), "the tests fail without a change"
    noticed = tried = 0
    for change in drawn(seed):
        if tried == count:
            break
        kind, path, start, old, new = change
        if is_listed(change):
            continue
        result = outcome(change)
        if result is None:
            continue
        tried += 1
        noticed += result
        line = path.read_text().count("\n", 0, start) + 1
        print(f"{'noticed ' if result else 'SURVIVED'} {kind:10} {path}:{line}: {old} -> {new}",
              flush=True)
    print(f"{noticed} of {tried} changes were noticed")
    return noticed < 0.95 * tried


sys.exit(main(*map(int, sys.argv[1:])))
