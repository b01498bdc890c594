#!/usr/bin/env python3
"""How many batches a second the scheduler of kelvane-archive carries.

usage: archive_scheduler.py [WORKERS] [SECONDS]

The real engine and the real scheduler, with WORKERS (1000) threads that sleep as long as a batch
takes, and answer with as many bytes; SECONDS (10) of work for each duration. `busy` is the share of
the time in which the threads had a batch, `cost` the processor time of the scheduler and the run, which
share a process: a core carries 1000 / cost batches a second.
"""
import pathlib
import sys
import time

import distributed

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "bindings/python"))
from kelvane_archive.run import Engine  # noqa: E402  (lies in the tree)

FILES = 58  # of a batch of 12 megapixels: 256 MB


def stub(batch, seconds):
    time.sleep(seconds)
    return [{"id": burst["id"], "frames": ["x" * 600] * len(burst["files"])} for burst in batch]


def batch_of(number):
    return [{"id": f"{number}-{i}", "files": [f"/photos/2019/05/IMG_{number:07}{j}.jpg" for j in range(6)]}
            for i in range(FILES // 6)]


def main():
    workers = int(sys.argv[1]) if len(sys.argv) > 1 else 1000
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 10
    print("seconds a batch   batches a second   busy   cost")
    with distributed.LocalCluster(n_workers=4, threads_per_worker=workers // 4, processes=True,
                                  dashboard_address="127.0.0.1:0", silence_logs=50) as cluster, \
            distributed.Client(cluster) as client:
        for duration in (8, 4, 2):
            batches = int(workers * max(seconds, 2 * duration) / duration)
            engine = Engine(client, stub, duration)
            start, processor = time.perf_counter(), time.process_time()
            answers = sum(1 for _ in engine.results(map(batch_of, range(batches))))
            elapsed = time.perf_counter() - start
            assert answers == batches * (FILES // 6)
            cost = 1000 * (time.process_time() - processor) / batches
            print(f"{duration:15} {batches / elapsed:18.0f} {batches * duration / workers / elapsed:6.0%}"
                  f" {cost:4.1f} ms", flush=True)


if __name__ == "__main__":
    main()
