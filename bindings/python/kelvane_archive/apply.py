"""Carries the choices out, and takes that back."""
import json
import os
import pathlib
import shutil
import tempfile
import time

from .error import ArchiveError
from .files import sync_folder
from .parts import RunFolder

RATINGS = {1: (5, "Green"), 0: (4, "Yellow")}  # of the best frame, and of others that are kept

SIDECAR = """<?xpacket begin="\ufeff" id="W5M0MpCehiHzreSzNTczkc9d"?>
<x:xmpmeta xmlns:x="adobe:ns:meta/">
 <rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">
  <rdf:Description rdf:about="" xmlns:xmp="http://ns.adobe.com/xap/1.0/"
   xmp:Rating="{rating}" xmp:Label="{label}"/>
 </rdf:RDF>
</x:xmpmeta>
<?xpacket end="w"?>
"""


def _kept(base, companions):
    """The kept files, with their companions if asked for, and whether they are best."""
    choices = "JOIN choices USING (frame) JOIN bursts ON bursts.burst = choices.burst"
    query = f"SELECT path, best, start FROM frames {choices}"
    if companions:
        query += f" UNION ALL SELECT path, best, start FROM companions {choices}"
    yield from base.execute(query + " ORDER BY 1")


def _make(target, make):
    """Makes a file that appears whole, and never replaces another."""
    target.parent.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(dir=target.parent, prefix=".kelvane-") as folder:
        temporary = os.path.join(folder, "new")
        make(temporary)
        # A name that has appeared meanwhile is not replaced, which rename would do.
        os.link(temporary, target, follow_symlinks=False)


def _plan(out, xmp, link_to, copy_to):
    """Pairs of a target and what makes it at a path."""
    # The sidecar of a raw file is that of the picture beside it.
    for path, best, start in _kept(RunFolder(out).open_database(), companions=not xmp):
        if "://" in path:
            raise ArchiveError(f"{path}: lies elsewhere; apply needs files of this machine")
        source = pathlib.Path(path).absolute()
        if xmp:
            rating, label = RATINGS[best]
            text = SIDECAR.format(rating=rating, label=label)
            yield source.with_suffix(".xmp"), lambda to, text=text: pathlib.Path(to).write_text(
                text, encoding="utf-8")
        else:
            target = pathlib.Path(link_to or copy_to).absolute() / (start or "undated")[:7] / source.name
            yield target, (lambda to, source=source: os.symlink(source, to)) if link_to else (
                lambda to, source=source: shutil.copy2(source, to))


def apply(out, yes, xmp=False, link_to=None, copy_to=None):
    """Makes sidecars, links or copies; without `yes` it only says which.

    What exists is left alone and named. Each file that is made is in the undo list before it is
    there, with what tells that it is still the same.
    """
    made, left = 0, 0
    undo_list = pathlib.Path(out, f"undo-{time.strftime('%Y%m%d-%H%M%S')}-{os.getpid()}.jsonl")
    seen = set()
    for target, make in _plan(out, xmp, link_to, copy_to):
        if target in seen or os.path.lexists(target):
            print(f"left alone, exists already: {target}")
            left += 1
            continue
        seen.add(target)
        made += 1
        if yes:
            _note(undo_list, {"made": str(target)})
            _make(target, make)
            _note(undo_list, {"made": str(target), "state": _state(target)})
        else:
            print(f"would make {target}")
    print(f"{made} files {'made' if yes else 'to make; --yes makes them'}, {left} left alone")
    if yes and made:
        print(f"taken back by: kelvane-archive apply --undo {undo_list} --yes")


def _note(path, entry):
    new = not path.exists()
    with open(path, "a", encoding="utf-8") as file:
        file.write(json.dumps(entry) + "\n")
        file.flush()
        os.fsync(file.fileno())
    if new:
        sync_folder(path.parent)


def _state(path):
    status = os.lstat(path)
    return [status.st_ino, status.st_size, status.st_mtime_ns]


def undo(undo_list, yes):
    """Removes what a list names, if it is as it was made."""
    entries = {}
    try:
        with open(undo_list, encoding="utf-8") as file:
            for line in file:
                entry = json.loads(line)
                entries[entry["made"]] = entry.get("state")
    except (OSError, ValueError, KeyError) as error:
        raise ArchiveError(f"{undo_list}: is no undo list: {error}") from error
    removed = 0
    for path, state in entries.items():
        if not os.path.lexists(path):
            continue
        if state is None or _state(path) != state:
            print(f"left alone, changed since: {path}")
            continue
        removed += 1
        if yes:
            os.unlink(path)
        else:
            print(f"would remove {path}")
    print(f"{removed} files {'removed' if yes else 'to remove; --yes removes them'}")
