#!/usr/bin/env python3
"""Measures whole runs of the tool on 20 JPEG files of 12 megapixels beside djpeg, which only decodes
them, and a program that uses OpenCV.

usage: whole_runs.py BUILD MEASURED.json [ROUNDS]

The pictures are made once, in BUILD/whole-runs. The programs run in turns, with one job and with as
many as there are processors; kept is the least of the wall clock and of the processor time of all
rounds. Peak memory is also taken with 16 jobs."""
import json
import os
import pathlib
import subprocess
import sys
import time

PICTURES = 20


def make_pictures(build, folder):
    folder.mkdir(exist_ok=True)
    for number in range(PICTURES):
        picture = folder / f"{number:02}.jpg"
        if picture.exists():
            continue
        part = picture.with_suffix(".part")
        with subprocess.Popen([build / "bench/kelvane-photograph", str(number)],
                              stdout=subprocess.PIPE) as made:
            subprocess.run(["cjpeg", "-quality", "90", "-outfile", part], stdin=made.stdout,
                           check=True)
        part.rename(picture)


def programs(build, folder, jobs):
    """The command lines by name."""
    tool, opencv = build / "tools/kelvane", build / "bench/kelvane-opencv-blur"
    files = sorted(folder.glob("*.jpg"))
    commands = {
        "djpeg": f"ls {folder}/*.jpg | xargs -P {jobs} -n 1 djpeg -grayscale -outfile /dev/null",
        "blur": f"{tool} blur --jobs {jobs} {folder}",
        "report": f"{tool} pick --jobs {jobs} {folder} --report {folder}.html --force"}
    if opencv.exists():
        for bits in (16, 64):
            commands[f"opencv{bits}"] = f"{opencv} {jobs} {bits} {' '.join(map(str, files))}"
    return commands


def run(command):
    """Wall clock, processor time and peak memory in MB of the largest process."""
    start = time.perf_counter()
    child = subprocess.Popen(["sh", "-c", command], stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    if status != 0:
        sys.exit(f"whole_runs: failed: {command}")
    return (time.perf_counter() - start, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024)


def main():
    build, rounds = pathlib.Path(sys.argv[1]).resolve(), int((sys.argv[3:] or ["7"])[0])
    folder = build / "whole-runs"
    make_pictures(build, folder)
    sizes = [file.stat().st_size for file in folder.glob("*.jpg")]
    processors = len(os.sched_getaffinity(0))
    counts = sorted({1, processors})
    runs = [(jobs, name, command) for jobs in counts
            for name, command in programs(build, folder, jobs).items()]
    results, load = {}, os.getloadavg()[0]
    for _ in range(rounds):
        for jobs, name, command in runs:
            results.setdefault((jobs, name), []).append(run(command))
    measured = [{"jobs": jobs, "program": name, "wall": min(r[0] for r in result),
                 "processor": min(r[1] for r in result), "memory": max(r[2] for r in result)}
                for (jobs, name), result in results.items()]
    memory = {name: run(programs(build, folder, 16)[name])[2] for name in ("blur", "report")}
    with open(sys.argv[2], "w", encoding="utf-8") as file:
        json.dump({"pictures": PICTURES, "megabytes": sum(sizes) / PICTURES / 1e6,
                   "processors": processors, "load": load, "rounds": rounds,
                   "runs": measured, "memory16": memory}, file, indent=1)


if __name__ == "__main__":
    main()
