"""A run: from a list of bursts to an answer for each, exactly once."""
import json
import sys
import time

from . import batches, worker
from .cluster import connect
from .database import build
from .error import ArchiveError
from .parts import RunFolder, burst_key
from .progress import Progress, count_errors
from .source import write_list
from .tool import version


class _Parts:
    """Collects answers, and writes a part when there is enough or when it is time."""
    BYTES, SECONDS = 4 << 20, 2

    def __init__(self, folder):
        self._folder = folder
        self._begin()

    def _begin(self):
        self._entries, self._bytes, self._since = [], 0, time.monotonic()

    def add(self, key, answer):
        self._entries.append((key, answer))
        self._bytes += 220 * len(answer.get("frames", [])) + 1000
        if self._bytes > self.BYTES or time.monotonic() > self._since + self.SECONDS:
            self.write()

    def write(self):
        if self._entries:
            self._folder.add_part(self._entries)
        self._begin()


class Engine:
    """Keeps a cluster busy with batches, of which only a few wait at any time.

    A worker calls `task` with a batch and `ranking` for the answers.
    """

    def __init__(self, client, task, ranking):
        import distributed
        self._client, self._task, self._ranking = client, task, ranking
        self._running = {}  # batches and how often they were tried, by the key of their task
        self._done = distributed.as_completed(loop=client.loop, with_results=True,
                                              raise_errors=False)

    def _submit(self, batch, tried=0):
        future = self._client.submit(self._task, batch, self._ranking, pure=False)
        self._running[future.key] = (batch, tried)
        self._done.add(future)

    def results(self, waiting):
        """Pairs of a burst and its answer, as batches end, in any order."""
        waiting = iter(waiting)
        threads = max(1, sum(self._client.nthreads().values()))
        for _, batch in zip(range(2 * threads + 2), waiting):
            self._submit(batch)
        if not self._running:
            return
        for future, result in self._done:
            batch, tried = self._running.pop(future.key)
            yield from self._collect(future, result, batch, tried)
            if len(self._running) < 2 * threads + 2 and (more := next(waiting, None)):
                self._submit(more)

    def _collect(self, future, result, batch, tried):
        """The answers of a batch; one that killed its workers is divided until it is alone."""
        import distributed
        if future.status == "finished":
            yield from zip(batch, result)
            return
        if future.status in ("cancelled", "lost"):
            raise ArchiveError("the scheduler is gone; start the run again, it goes on where it "
                               "stopped")
        _, reason, _ = result
        if not isinstance(reason, (distributed.scheduler.KilledWorker, MemoryError)):
            raise ArchiveError(f"a worker failed: {reason}") from reason
        if len(batch) > 1:
            for half in batches.halves(batch):
                self._submit(half)
        elif tried + 1 < worker.TRIES:
            self._submit(batch, tried + 1)
        else:
            yield batch[0], worker.error_answer(batch[0], "the worker was killed: " + str(reason))


def run(source, out, *, tool, list_options=(), pick_options=(), size=batches.BatchSize(),
        patience=600, scratch="", retry_errors=False, memory=None, **where):
    """Ranks the bursts of a source that have no answer yet, and makes the database.

    `retry_errors` ranks those again in whose answer something could not be read.

    Returns the number of bursts that have an answer now, and of errors in this run.
    """
    folder = RunFolder(out)
    folder.lock()
    tool_version = version(tool)
    left_out = write_list(source, folder, tool, list_options)
    facts = {"source": source, "options": list(pick_options), "tool": tool_version,
             "left_out": left_out}
    folder.write_manifest(**facts, state="running")
    ranking_text = json.dumps([list(pick_options), tool_version])
    newest = {key: retry_errors and count_errors(answer) for key, _, answer in folder.answers()}
    answered = {key for key, errors in newest.items() if not errors}
    errors = 0
    if todo := sum(key not in answered for _, key in folder.keyed_bursts(ranking_text)):
        with connect(memory=memory, **where) as (client, limit):
            print(f"{todo} bursts to rank, {len(answered)} answers are here; dashboard (needs bokeh): "
                  f"{client.dashboard_link}", file=sys.stderr)
            ranking = worker.Ranking(tool, ("--skip-bad", *pick_options), limit, patience, scratch)
            engine = Engine(client, worker.rank, ranking)
            waiting = (burst for burst, key in folder.keyed_bursts(ranking_text)
                       if key not in answered)
            errors = _collect(folder, engine.results(batches.cut(waiting, size)), ranking_text, todo)
    total = build(folder, ranking_text)
    folder.write_manifest(**facts, state="complete", bursts=total,
                          parts={part.name: part.stat().st_size for part in folder.part_files()})
    return total, errors


def _collect(folder, results, ranking_text, total):
    """Keeps the answers as they come; returns how many errors they have."""
    progress, parts = Progress(total), _Parts(folder)
    try:
        for burst, answer in results:
            parts.add(burst_key(burst, ranking_text), answer)
            progress.add(burst, answer)
    finally:
        parts.write()
        progress.end()
    return progress.errors
