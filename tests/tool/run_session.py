#!/usr/bin/env python3
"""Runs the commands of a session and compares what they print.

usage: run_session.py [--update] TOOL MEDIA FOLDER

FOLDER/session holds lines of text, of commands ("$ COMMAND", continued by "> "), and below each
command what bash printed for it: lines of stdout, lines of stderr after "! ", and last "= STATUS"
unless that is 0. "[...]" in it stands for any text. A line "needs: PROGRAM" skips the session where
there is no such program. --update writes what is printed now.

Commands run in an empty folder; $CASE is FOLDER. `kelvane` is the tool, `media` makes pictures
(make_media.cpp) and `tag` writes into them what cameras write (tag_picture.py). A command that is nothing but a call of `kelvane`, and fails, must have printed
nothing but one line on stderr, and every file must be as before.
"""
import difflib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

PRELUDE = r"""
set -o pipefail
# json EXPRESSION...: the values of Python expressions about `j`, the JSON on stdin.
json() { python3 -c 'import json, sys
j = json.load(sys.stdin)
for expression in sys.argv[1:]: print(eval(expression))' "$@"; }
# terminal COMMAND...: runs it on a pseudo terminal.
terminal() { python3 -c 'import os, pty, sys
sys.exit(os.waitstatus_to_exitcode(pty.spawn(sys.argv[1:])))' "$@"; }
# refused COMMAND...: prints its stderr, and whether it failed in another way than with bad input.
refused() {
    "$@" 2>&1 >../out
    [ $? = 2 ] && [ ! -s ../out ] || echo "not refused: $*"
}
"""
SKIPPED = 77
TAG = pathlib.Path(__file__).resolve().parent / "tag_picture.py"


class Failure(Exception):
    pass


def parse(text):
    """The needs of a session, and its parts: comment lines, or a command and what it prints."""
    needs, parts = [], []
    for line in text.splitlines():
        if line.startswith("needs: "):
            needs.append(line[7:])
            parts.append([line])
        elif line.startswith("$ "):
            parts.append((line[2:].split("\n"), []))
        elif parts and isinstance(parts[-1], tuple) and line:
            command, output = parts[-1]
            if line.startswith(">") and not output:
                command.append(line[2:])
            else:
                output.append(line)
        else:
            parts.append([line])
    return needs, parts


def files_of(folder):
    """What is in a folder: bytes, or where a link leads, by name."""
    def content(path):
        if path.is_symlink():
            return os.readlink(path)
        return path.read_bytes() if path.is_file() else None
    return {str(path): content(path) for path in folder.rglob("*")}


class Session:
    def __init__(self, tool, media, case, scratch):
        self.folder = scratch / "work"
        programs = scratch / "bin"
        for made in (self.folder, programs, scratch / "home"):
            made.mkdir()
        for name, program in (("kelvane", tool), ("media", media), ("tag", TAG)):
            (programs / name).symlink_to(program)
        self.env = dict(os.environ, PATH=f"{programs}:{os.environ['PATH']}", CASE=str(case), TZ="UTC",
                        LC_ALL="C.UTF-8", HOME=str(scratch / "home"))

    def run(self, command):
        text = "\n".join(command)
        before = files_of(self.folder)
        done = subprocess.run(["bash", "-c", PRELUDE + text], cwd=self.folder, env=self.env,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=240)
        out, err = (stream.decode(errors="backslashreplace") for stream in (done.stdout, done.stderr))
        if re.fullmatch(r"kelvane [^|;\n]*", text) and done.returncode != 0:
            if out or not re.fullmatch(r"kelvane: [^\n]*\n", err) or done.returncode not in (1, 2):
                raise Failure(f"no clean failure: {text}\n{done.returncode}\n{out}{err}")
            if files_of(self.folder) != before:
                raise Failure(f"failed, and changed files: {text}")
        lines = out.splitlines() + ["! " + line for line in err.splitlines()]
        lines = [line or "[...]" for line in lines]  # a blank line would end the output
        return lines + ([f"= {done.returncode}"] if done.returncode else [])


def matches(expected, actual):
    pattern = ".*".join(map(re.escape, "\n".join(expected).split("[...]")))
    return re.fullmatch(pattern, "\n".join(actual), re.S) is not None


def main():
    update = "--update" in sys.argv
    tool, media, case = (pathlib.Path(path).resolve() for path in sys.argv[1 + update:])
    file = case / "session"
    needs, parts = parse(file.read_text())
    for program in needs:
        if not shutil.which(program):
            print(f"skipped: {program} is not installed")
            return SKIPPED
    failed, written = 0, []
    with tempfile.TemporaryDirectory() as scratch:
        session = Session(tool, media, case, pathlib.Path(scratch))
        for part in parts:
            if isinstance(part, list):
                written += part
                continue
            command, expected = part
            actual = session.run(command)
            same = matches(expected, actual)
            written += ["$ " + "\n> ".join(command).replace("> \n", ">\n")]
            written += expected if same else actual
            if not same and not update:
                failed += 1
                print("$ " + "\n> ".join(command))
                print("\n".join(difflib.ndiff(expected, actual)))
    if update:
        file.write_text("\n".join(written) + "\n")
    return 1 if failed else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Failure as failure:
        sys.exit(str(failure))
