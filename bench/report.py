#!/usr/bin/env python3
"""Writes what kelvane-bench measured into docs/performance.md, its chart and the README, or what
whole_runs.py measured into docs/performance.md.

usage: report.py MEASURED.json
       report.py --whole-runs MEASURED.json

Only the text between the markers is replaced; what is written around them stays."""
import html
import json
import math
import os
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
CHART = "docs/images/performance.svg"
LIBRARIES = [("x86-64", "build/release/src/libkelvane.so", 200),
             ("64-bit Arm", "build/arm64/src/libkelvane.so", 110)]
ROOF_GOALS = {"imgEvaluateSharpness/0x601": 0.5}
README_ROWS = ["imgEvaluateSharpness/0x601/4000x3000", "DRAV_Kelvane/10 frames/4000x3000",
               "GB_BoxBlurA/radius 5/4000x3000", "GB_GaussianBlurA/size 11/4000x3000",
               "sbrErode/radius 10/4000x3000", "sbrOpen/radius 10/4000x3000",
               "ImageResize_BL/1 channel/4000x3000 to 1920x1440",
               "ImageResize_BL_ToBGR24/0x802/1920x1080 to 1280x720",
               "Image_Alignment_Video/two frames/4000x3000", "roiCalculate/with alignment/1920x1080"]


class Row:
    """One measured operation, or with no peer one that could not be compared."""

    def __init__(self, entry):
        self.key = entry["run_name"].split("/iterations:")[0]
        name, self.size = self.key.rsplit("/", 1)
        function, _, parameter = name.partition("/")
        self.operation = f"`{function}`" if "," not in function else function
        if parameter:
            self.operation += f", {parameter}"
        self.plain = name.replace("/", ", ")
        self.ms = entry["ms"]
        self.peer = entry.get("label", "")
        self.peer_ms = entry.get("peer_ms")
        self.ratio = entry.get("ratio")
        self.goal = entry.get("goal", 0)
        self.roof_share = entry.get("roof_share")
        self.roof_goal = ROOF_GOALS.get(name, 0)
        self.rate = entry.get("GB/s")

    def reaches_goal(self):
        return self.ratio >= self.goal and (self.roof_share or 1) >= self.roof_goal

    def verdict(self):
        if self.goal == 0:
            return ""
        roof = f" and {100 * self.roof_goal:.0f} % of the roof" if self.roof_goal else ""
        return f"{self.goal:g}{roof}" + ("" if self.reaches_goal() else ", missed")


def figures(value):
    """Three significant digits."""
    return f"{value:.{max(0, 2 - math.floor(math.log10(value)))}f}"


def replace_between(path, marker, text):
    path = os.path.join(ROOT, path)
    with open(path, encoding="utf-8") as file:
        content = file.read()
    begin, end = f"<!-- {marker}: begin -->\n", f"<!-- {marker}: end -->"
    before, rest = content.split(begin)
    with open(path, "w", encoding="utf-8") as file:
        file.write(before + begin + text + end + rest.split(end)[1])


def table(rows):
    lines = ["| Operation | Size | Kelvane, ms | Best peer, ms | Peer | Ratio | Goal | Of the read roof |",
             "|---|---|---:|---:|---|---:|---|---:|"]
    for row in rows:
        share = f"{100 * row.roof_share:.0f} %" if row.roof_share else ""
        lines.append(f"| {row.operation} | {row.size} | {figures(row.ms)} | {figures(row.peer_ms)} | "
                     f"{row.peer} | {figures(row.ratio)} | {row.verdict()} | {share} |")
    return "\n".join(lines) + "\n"


def short_table(rows):
    lines = ["| Operation | Size | Kelvane, ms | Peer, ms | Peer | Ratio |",
             "|---|---|---:|---:|---|---:|"]
    lines += [f"| {row.operation} | {row.size} | {figures(row.ms)} | {figures(row.peer_ms)} | "
              f"{row.peer} | {figures(row.ratio)} |" for row in rows]
    return "\n".join(lines) + "\n"


def sizes():
    """A sentence on each library that was built."""
    sentences = []
    for name, library, limit in LIBRARIES:
        path = os.path.join(ROOT, library)
        if not os.path.exists(path):
            continue
        listed = subprocess.run(["size", path], check=True, capture_output=True, text=True).stdout
        size = int(listed.split("\n")[1].split()[0]) / 1000
        verdict = "within" if size <= limit else "ABOVE"
        sentences.append(f"`libkelvane.so` for {name} has {size:.1f} kB of code and constants, "
                         f"{verdict} the limit of {limit} kB.")
    return sentences


def processor():
    fields = {}
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        for line in info:
            key, _, value = line.partition(":")
            fields.setdefault(key.strip(), value.strip())
    return (f"{fields.get('model name', 'unknown')} (family {fields.get('cpu family', '?')}, model "
            f"{fields.get('model', '?')})")


def summary(context, roofs, rows):
    caches = ", ".join(f"L{c['level']} {c['size'] // 1024} kB" for c in context["caches"]
                       if c["type"] != "Instruction")
    speeds = "; ".join(f"{row.plain[8:]} of {row.size}: {figures(row.rate)} GB/s" for row in roofs)
    goals = [row for row in rows if row.goal > 0]
    reached = sum(row.reaches_goal() for row in goals)
    lines = [f"Processor: {processor()}; caches: {caches}. Compiler: {context['compiler']}. "
             f"Vectors used: {context['vectors']}.", "",
             f"Memory roof (bytes counted once): {speeds}.", "",
             f"{reached} of {len(goals)} rows with a goal reach it."]
    for sentence in sizes():
        lines += ["", sentence]
    return "\n".join(lines) + "\n\n"


def chart(rows):
    """Horizontal bars of the ratios on a logarithmic scale, from 0.1 to 100."""
    step, left, width, top = 20, 400, 420, 50
    height = top + step * len(rows) + 10

    def x(ratio):
        return left + width * (math.log10(min(max(ratio, 0.1), 100)) + 1) / 3

    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + 70}" height="{height}" '
        f'viewBox="0 0 {left + width + 70} {height}" role="img">',
        "<title>Best peer's time divided by Kelvane's</title>",
        "<style>text{font:12px sans-serif;fill:#24292f}.slower{fill:#bc6c25}.faster{fill:#2f7d4f}"
        ".line{stroke:#8c959f;stroke-width:1}.goal{stroke:#24292f;stroke-width:2}"
        "@media(prefers-color-scheme:dark){text{fill:#e6edf3}.goal{stroke:#e6edf3}"
        ".slower{fill:#dda15e}.faster{fill:#57ab73}}</style>",
        f'<text x="10" y="20" font-weight="bold">Best peer\'s time / Kelvane\'s (logarithmic); '
        "the upright mark is the goal</text>"]
    for ratio in (0.1, 1, 10, 100):
        parts.append(f'<line class="line" x1="{x(ratio):.1f}" x2="{x(ratio):.1f}" y1="{top - 4}" '
                     f'y2="{height - 8}"/><text x="{x(ratio):.1f}" y="{top - 8}" '
                     f'text-anchor="middle">{ratio:g}</text>')
    for number, row in enumerate(rows):
        y = top + step * number
        begin, end = sorted((x(1), x(row.ratio)))
        kind = "faster" if row.ratio >= 1 else "slower"
        label = html.escape(f"{row.plain}, {row.size}")
        parts.append(f'<text x="{left - 10}" y="{y + 14}" text-anchor="end">{label}</text>'
                     f'<rect class="{kind}" x="{begin:.1f}" y="{y + 4}" '
                     f'width="{end - begin:.1f}" height="12"/>')
        if row.goal > 0:
            parts.append(f'<line class="goal" x1="{x(row.goal):.1f}" x2="{x(row.goal):.1f}" '
                         f'y1="{y + 2}" y2="{y + 18}"/>')
        parts.append(f'<text x="{max(end, x(row.goal or 0.1)) + 6:.1f}" y="{y + 14}">'
                     f"{figures(row.ratio)}</text>")
    return "\n".join(parts) + "\n</svg>\n"


PROGRAMS = {"djpeg": "`djpeg -grayscale` of each file", "blur": "`kelvane blur`",
            "report": "`kelvane pick --report`",
            "opencv16": "OpenCV, variance of a 16-bit Laplacian",
            "opencv64": "OpenCV, variance of a 64-bit Laplacian"}


def goal(name, value, limit, is_least):
    reached = value >= limit if is_least else value <= limit
    return (f"- {name}: {figures(value)}; goal {'at least' if is_least else 'at most'} {limit}"
            f"{'' if reached else ', missed'}.\n")


def whole_runs(path):
    with open(path, encoding="utf-8") as file:
        measured = json.load(file)
    runs = {(run["jobs"], run["program"]): run for run in measured["runs"]}
    counts = sorted({jobs for jobs, _ in runs})
    text = (f"{measured['pictures']} JPEG files of 12 megapixels and {measured['megabytes']:.1f} MB; "
            f"least of {measured['rounds']} rounds in turns on {measured['processors']} processors, "
            f"with a load of {measured['load']:.1f} by this and other work.\n\n"
            "| Jobs | Program | Processor time, s | Of djpeg's | Wall clock, s | Of djpeg's | "
            "Peak memory, MB |\n|---:|---|---:|---:|---:|---:|---:|\n")
    for (jobs, program), run in runs.items():
        floor = runs[jobs, "djpeg"]
        times = " | ".join(f"{figures(run[clock])} | {run[clock] / floor[clock]:.2f}"
                           for clock in ("processor", "wall"))
        text += f"| {jobs} | {PROGRAMS[program]} | {times} | {run['memory']:.0f} |\n"
    text += "\n"
    for jobs in counts:
        times = {program: run["processor"] for (j, program), run in runs.items() if j == jobs}
        name = f"processor time, jobs: {jobs}"
        text += goal(f"`blur` / `djpeg`, {name}", times["blur"] / times["djpeg"], 1.15, False)
        if "opencv64" in times:
            text += goal(f"OpenCV, 64-bit / `blur`, {name}", times["opencv64"] / times["blur"], 3, True)
    most = counts[-1]
    if most > 1:
        for program in ("blur", "report"):
            growth = runs[1, program]["wall"] / runs[most, program]["wall"] / most
            text += goal(f"growth of {PROGRAMS[program]} for each processor, by the wall clock", growth,
                         0.9, True)
    text += "".join(f"- {PROGRAMS[program]} with `--jobs 16` takes {memory:.0f} MB at its peak.\n"
                    for program, memory in measured["memory16"].items())
    replace_between("docs/performance.md", "whole runs", text)
    print(text + "written: docs/performance.md")


def main():
    if sys.argv[1] == "--whole-runs":
        return whole_runs(sys.argv[2])
    with open(sys.argv[1], encoding="utf-8") as file:
        measured = json.load(file)
    context = measured["context"]
    all_rows = [Row(entry) for entry in measured["benchmarks"]]
    roofs = [row for row in all_rows if row.rate is not None]
    rows = [row for row in all_rows if row.rate is None]
    print("\n".join(sizes()))
    if context["missing_peers"].strip():
        print(f"without{context['missing_peers']}, docs/performance.md stays as it is")
        return
    replace_between("docs/performance.md", "measured", summary(context, roofs, rows) + table(rows))
    by_key = {row.key: row for row in rows}
    replace_between("README.md", "performance", short_table([by_key[key] for key in README_ROWS]))
    with open(os.path.join(ROOT, CHART), "w", encoding="utf-8") as file:
        file.write(chart([row for row in rows if row.goal > 0 and "padded" not in row.key]))
    for row in rows:
        if row.goal > 0 and not row.reaches_goal():
            share = f"; {100 * row.roof_share:.0f} % of the roof" if row.roof_share else ""
            print(f"{row.plain}, {row.size}: {figures(row.ratio)}{share}; goal {row.verdict()}")
    print("written: docs/performance.md, " + CHART + ", README.md")


if __name__ == "__main__":
    main()
