"""Files against what the command `kelvane` says of them, to the last digit."""
import glob
import json
import os
import subprocess
import sys
import threading

import kelvane
import numpy as np
import pytest
from arrays import picture

image = pytest.importorskip("PIL.Image")
RECORDINGS = os.environ.get("KELVANE_RECORDINGS", "")
PHOTOS = sorted(glob.glob(os.path.join(RECORDINGS, "left*.jpg")))
recorded = pytest.mark.skipif(not PHOTOS, reason="there are no recordings")


def tool(*arguments):
    without_preload = {key: value for key, value in os.environ.items() if key != "LD_PRELOAD"}
    done = subprocess.run([os.environ["KELVANE_TOOL"], *map(str, arguments), "--json"],
                          stdout=subprocess.PIPE, check=True, env=without_preload)
    return json.loads(done.stdout)


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    """A burst with an odd size: colour and grey, one stored turned, one damaged."""
    folder, rng = tmp_path_factory.mktemp("burst"), np.random.default_rng(3)
    scene = picture(rng, 201, 303, 3)
    for i in range(1, 6):
        scene[40:80, 20 * i:20 * i + 40] ^= 0x40
        smooth = kelvane.gaussian_blur(scene, 2 * i + 1)
        image.fromarray(smooth).save(folder / f"img{2 * i}.jpg", quality=90)
    image.fromarray(scene[..., 0]).save(folder / "img20.png")
    turned, exif = image.fromarray(np.rot90(scene).copy()), image.Exif()
    exif[0x0112] = 6  # to be turned clockwise
    turned.save(folder / "img21.jpg", exif=exif)
    (folder / "img3.jpg").write_bytes((folder / "img2.jpg").read_bytes()[:2000])
    return folder


def check_pick(inputs, picked, *options):
    said = tool("pick", *inputs, *options)
    assert (picked.best, list(picked.kept), list(picked.order)) == \
        (said["best"], said["chosen"], said["order"])
    assert len(picked.frames) == len(said["frames"])
    for frame, entry in zip(picked.frames, said["frames"]):
        assert (frame.name, frame.blur, frame.detail, frame.number, frame.seconds, frame.kept,
                frame.best) == \
            tuple(entry[key] for key in ("name", "blur", "detail", "number", "time", "chosen", "best"))
        assert vars(frame.terms) == entry["terms"]
        if entry.get("moving"):
            assert list(frame.moving.rect) == entry["moving"]["rect"]
        assert os.path.exists(frame.path)
    assert [vars(item) for item in picked.skipped] == said["skipped"]


def test_folder(folder):
    picked = kelvane.pick_files(folder, 3, skip_bad=True)
    check_pick([folder], picked, "--keep", 3, "--skip-bad")
    assert picked.best_frame.best and len(picked.kept_frames) == 3
    assert f"Best: {picked.best_frame.name}" in str(picked)
    pictures = kelvane.burst(folder, skip_bad=True, jobs=3)
    assert [p.name for p in pictures] == [frame.name for frame in picked.frames]
    assert [item.name for item in pictures.skipped] == ["img3.jpg"]
    assert [kelvane.blur(p) for p in pictures] == [frame.blur for frame in picked.frames]
    again, by_library = kelvane.pick(pictures, 3), kelvane.pick_files(
        folder, 3, choose="library", skip_bad=True)
    assert (again.best, again.kept, again.terms) == \
        (picked.best, by_library.kept, tuple(frame.terms for frame in picked.frames))
    options = kelvane.pick_files(folder, 4, choose="sharpest", min_share=60, measure="detail",
                                 skip_bad=True)
    check_pick([folder], options, "--keep", 4, "--choose", "sharpest", "--min-share", 60,
               "--measure", "detail", "--skip-bad")
    turned = pictures[-1]
    assert turned.orientation == 6 and turned.size == (303, 201) and turned.luma.shape == (201, 303)
    moving = kelvane.pick_files(folder, moving=True, skip_bad=True)
    check_pick([folder], moving, "--moving", "--skip-bad")
    assert any(frame.moving for frame in moving.frames)


def test_faces_of_a_file(folder, tmp_path):
    faces = {"frames": [{"faces": [{"rect": [5, 5, 50, 50], "smile": 30 * (i % 2)}]}
                        for i in range(3)]}
    (tmp_path / "faces.json").write_text(json.dumps(faces))
    files = [folder / f"img{i}.jpg" for i in (2, 4, 6)]
    picked = kelvane.pick_files(files, faces=tmp_path / "faces.json")
    check_pick(files, picked, "--faces", tmp_path / "faces.json")
    assert [frame.terms.smiles for frame in picked.frames] == [0, 500, 0]


def test_one_picture(folder):
    read = kelvane.read(folder / "img21.jpg", colour=True)
    rgb = np.rot90(np.asarray(image.open(folder / "img21.jpg").convert("RGB")), -1).astype(int)
    assert read.bgr.shape == (201, 303, 3)
    apart = np.abs(read.bgr[..., ::-1] - rgb).mean()  # chroma is interpolated in another way
    assert 3 * apart < np.abs(read.bgr - rgb).mean()
    said = tool("blur", folder / "img21.jpg")["frames"][0]
    assert kelvane.blur(read) == said["blur"] and read.pixel_format == said["pixel_format"]
    assert np.shares_memory(np.asarray(read), read.luma)
    assert "luma" not in repr(read)


def check_pair(first, second):
    a, b = kelvane.read(first), kelvane.read(second)
    said, found = tool("changes", first, second), kelvane.changes(a, b, thorough=True)
    assert found.box == (tuple(said["rect"]) if said["rect"] else None)
    assert found.share == said["changed_ratio"] == np.mean(found.mask == 255)
    assert found.shift == kelvane.align(a, b, thorough=True)
    assert vars(found.shift) == {key: said[key] for key in vars(found.shift)}


def test_pairs(folder):
    check_pair(folder / "img2.jpg", folder / "img20.png")


def test_errors(folder, tmp_path):
    (tmp_path / "notes.txt").write_text("no picture")
    small = tmp_path / "small.png"
    image.fromarray(np.zeros((40, 40), np.uint8)).save(small)
    with pytest.raises(FileNotFoundError, match="gone.jpg"):
        kelvane.pick_files([folder / "img2.jpg", "gone.jpg"])
    with pytest.raises(ValueError, match="img3.jpg: .*skip_bad=True leaves it out"):
        kelvane.pick_files(folder)
    with pytest.raises(ValueError, match="img3.jpg: "):
        kelvane.read(folder / "img3.jpg")
    with pytest.raises(ValueError, match="notes.txt: "):
        kelvane.read(tmp_path / "notes.txt")
    with pytest.raises(ValueError, match="small.png: 40 x 40 pixels, but .*img2.jpg"):
        kelvane.pick_files([folder / "img2.jpg", small])
    with pytest.raises(ValueError, match="choose: must be 'spread' or"):
        kelvane.pick_files(folder, choose="best")
    with pytest.raises(ValueError, match="keep: 0 is below 1"):
        kelvane.pick_files(folder, 0)
    with pytest.raises(ValueError, match="b: 40 x 40 pixels"):
        kelvane.align(np.zeros((50, 50), np.uint8), kelvane.read(small), thorough=True)
    with pytest.raises(ValueError, match="inputs: is empty"):
        kelvane.burst([])
    foreign = os.fsdecode(b"f\xe9.jpg")
    (tmp_path / foreign).write_bytes((folder / "img2.jpg").read_bytes())
    assert kelvane.read(tmp_path / foreign).name.endswith(foreign)


def test_threads(folder):
    expected, wrong = kelvane.pick_files(folder, skip_bad=True), []

    def work():
        for _ in range(4):
            if kelvane.pick_files(folder, skip_bad=True) != expected:
                wrong.append(1)

    threads = [threading.Thread(target=work) for _ in range(3)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not wrong


@recorded
def test_recordings():
    video = os.path.join(RECORDINGS, "vtest.avi")
    check_pick(PHOTOS, kelvane.pick_files(PHOTOS, 4), "--keep", 4)
    check_pick([video], kelvane.pick_files(video, 3, every=20, most=8, moving=True),
               "--keep", 3, "--every", 20, "--max", 8, "--moving")
    frames = kelvane.burst(video, every=20, most=3)
    assert [frame.number for frame in frames] == [0, 20, 40]
    check_pair(PHOTOS[0], PHOTOS[1])


@pytest.mark.skipif("LD_PRELOAD" in os.environ, reason="sanitizers take their time")
def test_import_is_quick():
    """Beyond NumPy's, and without what reads files."""
    program = ("import numpy, sys, time; start = time.perf_counter(); import kelvane; "
               "print(time.perf_counter() - start); assert 'kelvane._media' not in sys.modules")
    took = [float(subprocess.run([sys.executable, "-c", program], stdout=subprocess.PIPE,
                                 check=True).stdout) for _ in range(5)]
    assert min(took) < 0.1
