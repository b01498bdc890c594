#!/usr/bin/env python3
"""Times the package for Python beside OpenCV's, on the same arrays.

usage: python_peers.py [DOCUMENT.md]

Both take turns, one thread each, and the least time of each counts. With a document the table
replaces what is between its comments `python: begin` and `python: end`.
"""
import re
import sys
import time

import cv2
import kelvane
import numpy as np

ROUNDS, SECONDS = 40, 0.005


def least_times(*calls):
    """Of one call each, in microseconds."""
    counts, least = [], [float("inf")] * len(calls)
    for call in calls:
        start, count = time.perf_counter(), 0
        while time.perf_counter() - start < SECONDS:
            call()
            count += 1
        counts.append(max(1, count))
    for _ in range(ROUNDS):
        for i, call in enumerate(calls):
            start = time.perf_counter()
            for _ in range(counts[i]):
                call()
            least[i] = min(least[i], (time.perf_counter() - start) / counts[i])
    return [1e6 * seconds for seconds in least]


def laplacian(image):
    return cv2.meanStdDev(cv2.Laplacian(image, cv2.CV_16S))


def rectangle(radius):
    """The one of kelvane's morphology: a row taller than wide, and a row further down."""
    return np.ones((2 * radius + 2, 2 * radius + 1), np.uint8), (radius, radius)


def rows(width, height):
    rng = np.random.default_rng(7)
    coarse = rng.integers(0, 256, (height // 8 + 1, width // 8 + 1), np.uint8)
    grey = cv2.resize(coarse, (width, height), interpolation=cv2.INTER_CUBIC)
    other = np.roll(grey, (3, -5), (0, 1))
    half, radius = (width // 2, height // 2), min(10, height // 8)
    block = np.vstack([grey, grey[:height // 2]])
    frame = kelvane.Frame.nv21(block)
    kernel, anchor = rectangle(radius)
    mtb = cv2.createAlignMTB()
    return [
        ("blur", lambda: kelvane.blur(grey), "Laplacian CV_16S, meanStdDev",
         lambda: laplacian(grey)),
        ("pick, 10 frames", lambda: kelvane.pick([grey] * 10), "the same for 10 frames",
         lambda: [laplacian(grey) for _ in range(10)]),
        ("box_blur, radius 5", lambda: kelvane.box_blur(grey, 5), "blur",
         lambda: cv2.blur(grey, (11, 11))),
        ("gaussian_blur, size 11", lambda: kelvane.gaussian_blur(grey, 11), "GaussianBlur",
         lambda: cv2.GaussianBlur(grey, (11, 11), 0)),
        (f"erode, radius {radius}", lambda: kelvane.erode(grey, radius), "erode",
         lambda: cv2.erode(grey, kernel, anchor=anchor)),
        (f"open, radius {radius}", lambda: kelvane.open(grey, radius), "morphologyEx",
         lambda: cv2.morphologyEx(grey, cv2.MORPH_OPEN, kernel, anchor=anchor)),
        ("resize to a half", lambda: kelvane.resize(grey, half), "resize",
         lambda: cv2.resize(grey, half)),
        ("to_bgr of NV21", lambda: kelvane.to_bgr(frame), "cvtColor",
         lambda: cv2.cvtColor(block, cv2.COLOR_YUV2BGR_NV21)),
        ("threshold_bitmap", lambda: kelvane.threshold_bitmap(grey), "AlignMTB.computeBitmaps",
         lambda: mtb.computeBitmaps(grey)),
        ("align", lambda: kelvane.align(grey, other), "AlignMTB.calculateShift",
         lambda: mtb.calculateShift(grey, other)),
    ]


def table():
    lines = ["| Function | Size | kelvane, µs | OpenCV, µs | OpenCV's | Ratio |",
             "|---|---|---:|---:|---|---:|"]
    for width, height in ((64, 64), (1920, 1080)):
        for name, ours, peer, theirs in rows(width, height):
            mine, other = least_times(ours, theirs)
            lines.append(f"| `{name.split(',')[0].split(' ')[0]}`"
                         f"{name[len(name.split(',')[0].split(' ')[0]):]} | {width}x{height} "
                         f"| {mine:.3g} | {other:.3g} | {peer} | {other / mine:.2f} |")
    tiny = np.zeros((2, 2), np.uint8)
    overhead, = least_times(lambda: kelvane.blur(tiny))
    return "\n".join(lines) + f"\n\nA call of `blur` that finds nothing to measure takes " \
        f"{overhead:.2f} µs.\n"


def main():
    cv2.setNumThreads(1)
    text = table()
    print(text)
    if len(sys.argv) > 1:
        with open(sys.argv[1], encoding="utf-8") as file:
            old = file.read()
        new = re.sub(r"(<!-- python: begin -->\n).*(<!-- python: end -->)",
                     lambda marks: marks[1] + text + marks[2], old, flags=re.S)
        with open(sys.argv[1], "w", encoding="utf-8") as file:
            file.write(new)


if __name__ == "__main__":
    main()
