"""Runs that nothing disturbs: what they rank again, where photographs may lie, pages and choices."""
import json
import os
import pathlib
import re
import sqlite3
import subprocess
import sys

import fsspec
from PIL import Image

from conftest import ROOT, TOOL, answered, dump, errors, finish, start

sys.path.append(str(ROOT / "bindings/python"))
from kelvane_archive import batches, report, source, worker  # noqa: E402  (lies in the tree)


def run(photos, out, *options):
    return finish(start("--tool", TOOL, "run", photos, "--out", out, "--processes", 1, *options))


def test_ranks_again_only_what_changed(photos, tmp_path):
    out = tmp_path / "out"
    listed = tmp_path / "list.jsonl"
    with listed.open("w") as file:
        subprocess.run([TOOL, "list", photos, "--recursive"], check=True, stdout=file,
                       stderr=subprocess.DEVNULL)
    lines = listed.read_text().splitlines()[:12]
    listed.write_text("\n".join(lines))
    run(listed, out)
    assert answered(out) == [json.loads(line)["id"] for line in lines]
    changed = json.loads(lines[3])
    changed["modified"][0] += 1
    listed.write_text("\n".join([*lines[:3], json.dumps(changed), *lines[5:]]))
    run(listed, out)
    assert answered(out)[12:] == [changed["id"]]
    assert dump(out).count('INTO "bursts"') == 11  # one of the lines is gone
    run(listed, out, "--", "--keep", "2")
    assert len(answered(out)) == 13 + 11


def test_batches():
    bursts = [{"id": i, "files": ["a"] * n, "bytes": [size] * n}
              for i, (n, size) in enumerate([(2, 10), (3, 10), (1, 90), (9, 1), (1, 1), (1, 200)])]
    cut = list(batches.cut(bursts, batches.BatchSize(files=5, bytes=100)))
    assert [[burst["id"] for burst in batch] for batch in cut] == [[0, 1], [2], [3], [4], [5]]


def test_memory_for_a_picture(tmp_path):
    """The rest of a batch is ranked when a picture asks for more memory than there may be."""
    for name, side in (("small", 200), ("large", 8000)):
        Image.new("RGB", (side, side)).save(tmp_path / f"{name}.png", compress_level=1)
    batch = [{"id": name, "files": [str(tmp_path / f"{name}.png")]} for name in ("large", "small")]
    large, small = worker.rank(batch, worker.Ranking(str(TOOL), (), 120 << 20))
    assert "error" in large and small["best"] == 0


def test_url(photos, tmp_path):
    """A folder elsewhere has the answers of the same folder here, under its own names."""
    some = next(photos.glob("2015/*"))
    run(some, tmp_path / "here")
    run(f"file://{some}", tmp_path / "there")
    here = re.sub(r"'\d{19}'|\d{19}", "", dump(tmp_path / "here"))
    there = dump(tmp_path / "there").replace(f"file://{some}", str(some))
    assert here == re.sub(r"'\d{19}'|\d{19}", "", there)
    assert not errors(tmp_path / "there")


def test_memory_url(photos, tmp_path):
    """Fetched files are gone after their batch, and one that is missing costs its own frame only."""
    memory = fsspec.filesystem("memory")
    files = sorted(next(photos.glob("2015/*")).iterdir())[:12]
    for file in files:
        memory.pipe_file(f"/archive/05/{file.name}", file.read_bytes())

    class Folder:
        list = tmp_path / "list.jsonl"
    assert source.write_list("memory://archive", Folder, str(TOOL), ["--singles"]) == []
    bursts = [json.loads(line) for line in Folder.list.read_text().splitlines()]
    names = [name for burst in bursts for name in burst["files"]]
    assert names == [f"memory:///archive/05/{file.name}" for file in files]
    gone = next(burst for burst in bursts if len(burst["files"]) > 1)["files"][0]
    memory.rm_file(gone.removeprefix("memory://"))
    answers = worker.rank(bursts, worker.Ranking(str(TOOL), ("--skip-bad",), scratch=str(tmp_path)))
    found = [frame["name"] for answer in answers for part in answer["bursts"]
             for frame in part["frames"]]
    assert found == [name for name in names if name != gone]
    assert [skipped["name"] for answer in answers for skipped in answer["skipped"]] == [gone]
    assert [path.name for path in tmp_path.iterdir()] == ["list.jsonl"]


def test_list_that_is_none(tmp_path):
    bad = tmp_path / "list.jsonl"
    for text, reason in (("[]", 'line 1: needs "id" and "files"'), ("{", "line 1: Expecting"),
                         (2 * '{"id": 1, "files": ["a"]}\n', "line 2: the id 1 comes twice")):
        bad.write_text(text)
        process = start("--tool", TOOL, "run", bad, "--out", tmp_path / "out")
        _, complaint = process.communicate()
        assert process.returncode == 1 and reason in complaint, complaint


def test_pages_and_choices(photos, tmp_path, monkeypatch):
    out = tmp_path / "out"
    taken = tmp_path / "taken"
    subprocess.run(["cp", "-r", photos, taken], check=True)
    run(taken, out, "--", "--keep", "2")
    with sqlite3.connect(out / "archive.sqlite") as base:
        kept = {path: best for path, best in
                base.execute("SELECT path, best FROM frames JOIN choices USING (frame)")}
        frames = base.execute("SELECT count(*) FROM frames").fetchone()[0]
    finish(start("--tool", TOOL, "report", out))
    assert_pages(out / "report", frames, len(kept))
    pages = len(list((out / "report").glob("*.html")))
    monkeypatch.setattr(report, "PAGE_BYTES", 2000)  # so that days need several pages
    assert report.write_report(out, str(TOOL), 1) > pages
    assert_pages(out / "report", frames, len(kept))
    before = files_below(tmp_path)
    assert f"{len(kept)} files to make" in finish(start("apply", out, "--xmp"))
    assert files_below(tmp_path) == before
    assert_applied_and_undone(out, kept, before, tmp_path)


def files_below(folder):
    return {path for path in folder.rglob("*") if not path.is_dir()}


def assert_pages(folder, frames, kept):
    """Every page is reached from the index, is small, and all frames are on one."""
    reached, waiting, figures = set(), ["index.html"], []
    while waiting:
        page = waiting.pop()
        if page in reached:
            continue
        reached.add(page)
        text = (folder / page).read_text()
        assert len(text) < 2_000_000
        figures += re.findall(r'<figure class="([^"]*)">.*?<img [^>]*src="([^"]*)"', text)
        waiting += re.findall(r'href="([\w-]+\.html)"', text)
    assert reached == {path.name for path in folder.glob("*.html")}
    assert len(figures) == frames and sum("kept" in kind for kind, _ in figures) == kept
    assert all(max(Image.open(folder / thumb).size) == 160 for _, thumb in figures[:20])


def assert_applied_and_undone(out, kept, before, tmp_path):
    best = next(path for path, is_best in kept.items() if is_best)
    other = pathlib.Path(best).with_suffix(".xmp")
    other.write_text("another program's")
    said = finish(start("apply", out, "--xmp", "--yes"))
    assert f"{len(kept) - 1} files made, 1 left alone" in said
    assert other.read_text() == "another program's"
    ratings = [int(re.search(r'Rating="(\d)"', pathlib.Path(path).with_suffix(".xmp").read_text())[1])
               for path in kept if path != best]
    assert ratings == [5 if is_best else 4 for path, is_best in kept.items() if path != best]
    for way in ("--link-to", "--copy-to"):
        finish(start("apply", out, way, tmp_path / way, "--yes"))
        assert len(files_below(tmp_path / way)) == len(kept)
    copied = next((tmp_path / "--copy-to").rglob("*.jpg"))
    copied.write_bytes(b"edited")
    for undo_list in out.glob("undo-*"):
        finish(start("apply", "--undo", undo_list, "--yes"))
        os.remove(undo_list)
    assert files_below(tmp_path) == before | {other, copied}
