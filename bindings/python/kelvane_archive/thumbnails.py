"""Small pictures for the pages."""
import concurrent.futures
import hashlib
import os
import pathlib
import subprocess

SIDE = 160  # pixels of the longer side


def name_of(path):
    """Where the small picture of a file is, below the folder of the pages."""
    digest = hashlib.sha256(path.encode(errors="surrogatepass")).hexdigest()[:24]
    return f"thumbs/{digest[:2]}/{digest[2:]}.jpg"


def _is_current(target, path):
    try:
        return os.stat(target).st_mtime_ns >= os.stat(path).st_mtime_ns
    except OSError:
        return "://" in path and os.path.exists(target)


def _by_pillow(path, target):
    import fsspec
    from PIL import Image, ImageOps
    with fsspec.open(path, "rb") as file:
        picture = Image.open(file)
        picture.draft("RGB", (SIDE, SIDE))  # a JPEG decodes to a fraction of its size
        picture = ImageOps.exif_transpose(picture)
        picture.thumbnail((SIDE, SIDE))
        picture.convert("RGB").save(target, "JPEG", quality=75)


def _by_tool(path, target, size, tool):
    width, height = size
    scale = SIDE / max(width, height)
    small = f"{max(1, round(width * scale))}x{max(1, round(height * scale))}"
    subprocess.run([tool, "resize", path, target, "--size", small, "--format", "jpg"], check=True,
                   capture_output=True)


def make(job):
    """Makes one small picture unless it is there; False when the file cannot be read now."""
    path, size, folder, tool = job
    target = pathlib.Path(folder, name_of(path))
    if _is_current(target, path):
        return True
    target.parent.mkdir(parents=True, exist_ok=True)
    temporary = target.with_name(f"{target.name}.{os.getpid()}.jpg")
    try:
        try:
            _by_pillow(path, temporary)
        except Exception:  # whatever Pillow raises for files that it does not read
            _by_tool(path, temporary, size, tool)
        os.replace(temporary, target)
        return True
    except (OSError, subprocess.CalledProcessError):
        temporary.unlink(missing_ok=True)
        return False


def make_all(pictures, folder, tool, processes=None):
    """Makes those of pairs of a path and its size, on all processors."""
    jobs = ((path, size, str(folder), tool) for path, size in pictures)
    with concurrent.futures.ProcessPoolExecutor(processes) as pool:
        return sum(not made for made in pool.map(make, jobs, chunksize=32))
