"""Whatever is killed, full or gone: every other burst is answered exactly once."""
import collections
import contextlib

import resource
import signal
import socket
import subprocess
import sys

import psutil

from conftest import answered, await_part, dump, environment, errors, finish, start

SMALL = ("--processes", 2, "--batch-files", 16)  # batches, so that there is a middle
SLOW = "sleep 0.5"

def assert_answered_once(out, undisturbed):
    assert dump(out) == undisturbed
    assert set(collections.Counter(answered(out)).values()) == {1}

def test_killed_run_goes_on(photos, tool, tmp_path, undisturbed):
    out = tmp_path / "out"
    command = ("--tool", tool(SLOW), "run", photos, "--out", out, *SMALL)
    first = start(*command)
    await_part(out, first)
    first.kill()
    first.wait()
    before = answered(out)
    assert before and len(before) < undisturbed.count("INSERT INTO \"bursts\"")
    finish(start(*command))
    assert answered(out)[:len(before)] == before
    assert_answered_once(out, undisturbed)

def test_killed_worker(photos, tool, tmp_path, undisturbed):
    out = tmp_path / "out"
    run = start("--tool", tool(SLOW), "run", photos, "--out", out, *SMALL)
    await_part(out, run)
    workers = [process for process in psutil.Process(run.pid).children()
               if "spawn_main" in " ".join(process.cmdline())]
    workers[0].kill()
    finish(run)
    assert_answered_once(out, undisturbed)

def test_full_disk(photos, tool, tmp_path, undisturbed):
    out = tmp_path / "out"
    command = ("--tool", tool(SLOW), "run", photos, "--out", out, *SMALL)
    first = start(*command)
    await_part(out, first)
    resource.prlimit(first.pid, resource.RLIMIT_FSIZE, (1000, 1000))
    _, complaint = first.communicate(timeout=100)
    assert first.returncode == 1 and "File too large; start it again" in complaint
    assert not list((out / "parts").glob(".*"))
    finish(start(*command))
    assert_answered_once(out, undisturbed)

def ids_of(photos, undisturbed):
    """Some bursts by their first files."""
    lines = [line for line in undisturbed.splitlines() if 'INTO "bursts"' in line]
    return [str(photos) + line.split(str(photos))[1].split(" ")[0] for line in lines]

def test_files_that_crash_hang_and_vanish(photos, tool, tmp_path, undisturbed):
    out = tmp_path / "out"
    crash, hang, killed = ids_of(photos, undisturbed)[3:12:3]
    faults = tool(f'case $batch in *{crash}*) kill -SEGV $$;; *{killed}*) kill -KILL $$;; '
                  f'*{hang}*) exec sleep 60;; esac')
    finish(start("--tool", faults, "run", photos, "--out", out, *SMALL, "--patience", 3))
    assert [path for path, _ in errors(out)] == sorted([crash, hang, killed])
    reasons = dict(errors(out))
    assert reasons[crash].startswith("the decoder was ended by signal 11")
    assert reasons[killed].startswith("the decoder was ended by signal 9")
    assert reasons[hang] == "no answer within 3.0 seconds"
    assert len(answered(out)) == len(set(answered(out))) == len(ids_of(photos, undisturbed))

def test_file_that_vanishes(photos, tool, tmp_path, undisturbed):
    out = tmp_path / "out"
    gone = ids_of(photos, undisturbed)[5]
    elsewhere = tmp_path / "elsewhere.jpg"
    try:
        finish(start("--tool", tool(f"[ -e {elsewhere} ] || mv {gone} {elsewhere}"), "run", photos,
                     "--out", out, *SMALL))
        assert errors(out) == [(gone, "No such file or directory")]
        assert dump(out).count('INTO "frames"') == undisturbed.count('INTO "frames"') - 1
    finally:
        elsewhere.rename(gone)
    before = answered(out)
    finish(start("--tool", tool(""), "run", photos, "--out", out, *SMALL, "--retry-errors"))
    assert len(answered(out)) == len(before) + 1
    assert dump(out) == undisturbed

def test_worker_that_a_burst_kills(photos, tool, tmp_path, undisturbed):
    out = tmp_path / "out"
    bad = ids_of(photos, undisturbed)[7]
    finish(start("--tool", tool(f"case $batch in *{bad}*) kill -KILL $PPID;; esac"), "run", photos,
                 "--out", out, *SMALL))
    (path, reason), = errors(out)
    assert path == bad and reason.startswith("the worker was killed")
    assert len(answered(out)) == len(set(answered(out))) == len(ids_of(photos, undisturbed))

@contextlib.contextmanager
def cluster(port):
    """A scheduler and two workers, each a process."""
    programs = [["dask_scheduler", "--host", "127.0.0.1", "--port", str(port), "--no-dashboard"]]
    programs += 2 * [["dask_worker", f"tcp://127.0.0.1:{port}", "--nthreads", "1", "--no-nanny",
                      "--no-dashboard", "--death-timeout", "60"]]
    running = [subprocess.Popen([sys.executable, "-m", f"distributed.cli.{name}", *words],
                                env=environment(), stderr=subprocess.DEVNULL)
               for name, *words in programs]
    try:
        yield running[0]
    finally:
        for process in running:
            process.kill()
            process.wait()

def free_port():
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        return taken.getsockname()[1]

def test_killed_scheduler(photos, tool, tmp_path, undisturbed):
    out, port = tmp_path / "out", free_port()
    command = ("--tool", tool(SLOW), "run", photos, "--out", out, *SMALL, "--scheduler",
               f"tcp://127.0.0.1:{port}")
    with cluster(port) as scheduler:
        first = start(*command)
        await_part(out, first)
        scheduler.send_signal(signal.SIGKILL)
        _, complaint = first.communicate(timeout=120)
        assert first.returncode == 1 and "the scheduler is gone; start the run again" in complaint
    with cluster(port):
        finish(start(*command))
    assert_answered_once(out, undisturbed)
