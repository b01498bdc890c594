"""The command-line tool, which reads, groups and ranks."""
import ctypes
import json
import os
import resource
import select
import signal
import subprocess
import threading
import time

from .error import ArchiveError


def find(path=None):
    """The tool: as given, or as KELVANE_TOOL says, or on the PATH."""
    return path or os.environ.get("KELVANE_TOOL") or "kelvane"


def version(tool):
    """What the tool and its libraries are; results are those of one version."""
    try:
        return subprocess.run([tool, "version"], check=True, capture_output=True, text=True).stdout
    except (OSError, subprocess.CalledProcessError) as error:
        raise ArchiveError(f"{tool}: {error}; install the tool, or name it with --tool") from error


_LIBC = ctypes.CDLL(None)
_PR_SET_PDEATHSIG = 1  # prctl(2)


def _child_of(memory):
    """What a new process does first: it ends with its worker, and takes no more than `memory`."""
    def prepare():
        _LIBC.prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        if memory:
            resource.setrlimit(resource.RLIMIT_DATA, (memory, memory))
    return prepare


def _lines(process, patience):
    """The lines of a process, as long as the next one comes within `patience` seconds."""
    rest, end = b"", time.monotonic() + patience
    while select.select([process.stdout], [], [], max(0, end - time.monotonic()))[0]:
        part = os.read(process.stdout.fileno(), 1 << 16)
        if not part:
            return
        *whole, rest = (rest + part).split(b"\n")
        if whole:
            end = time.monotonic() + patience
        yield from whole
    raise TimeoutError


def pick(tool, bursts, options, memory=None, patience=600):
    """Ranks bursts in one process of the tool.

    Returns the answers by id, as far as they came, and why the process ended before all were
    there, or None. A decoder that crashes, hangs or asks for more than `memory` bytes ends that
    process and nothing else.
    """
    lines = "".join(json.dumps(burst, ensure_ascii=False) + "\n" for burst in bursts).encode()
    command = [tool, "pick", "--jsonl", "--jobs", "1", *options]
    answers, ended = {}, None
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, preexec_fn=_child_of(memory)) as process:
        feeder = _feed(process, lines)
        try:
            for line in _lines(process, patience):
                answer = json.loads(line)
                answers[answer["id"]] = answer
        except TimeoutError:
            process.kill()
            ended = f"no answer within {patience} seconds"
        feeder.join()
        complaint = process.stderr.read().decode(errors="replace").strip()
        process.wait()
    if ended is None and len(answers) < len(bursts):
        ended = complaint or _end_of(process.returncode)
    return answers, ended


def _feed(process, lines):
    def feed():
        try:
            with process.stdin:
                process.stdin.write(lines)
        except BrokenPipeError:
            pass  # it has ended; the answers tell how far it came
    feeder = threading.Thread(target=feed, daemon=True)
    feeder.start()
    return feeder


def _end_of(status):
    return f"the decoder was ended by signal {-status}" if status < 0 else f"status {status}"
