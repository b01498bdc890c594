"""The sources of a revision, beside those of the work tree."""
import pathlib
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent


def short_name(revision):
    return subprocess.run(["git", "rev-parse", "--short", f"{revision}^{{commit}}"], cwd=ROOT,
                          check=True, capture_output=True, text=True).stdout.strip()


def check_out(revision, folder):
    """Writes the sources of the revision, or of the work tree when there is none, to the folder."""
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    files = (["git", "archive", revision] if revision else
             ["tar", "-c", "--exclude=./build*", "--exclude=./.git", "."])
    with subprocess.Popen(files, cwd=ROOT, stdout=subprocess.PIPE) as packed:
        subprocess.run(["tar", "-x", "-C", folder], stdin=packed.stdout, check=True)
    if packed.returncode != 0:
        raise RuntimeError(f"the sources cannot be copied: {files}")
