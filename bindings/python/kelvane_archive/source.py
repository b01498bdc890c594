"""Where the bursts come from: a folder, a list, or the URL of a folder elsewhere."""
import json
import os
import pathlib
import subprocess
import tempfile

from .error import ArchiveError
from .files import written_whole

HEAD_BYTES = 512 << 10  # of a file elsewhere: where cameras keep their metadata


def write_list(source, folder, tool, options):
    """Writes the list of bursts of a run; returns what was left out, a line each."""
    if "://" in source:
        return _list_url(source, folder, tool, options)
    if os.path.isdir(source):
        with written_whole(folder.list, "wb") as out:
            return _run_list(tool, [os.path.abspath(source), *options], out)
    return _copy_list(source, folder)


def _run_list(tool, arguments, out):
    done = subprocess.run([tool, "list", "--recursive", *arguments], stdout=out,
                          stderr=subprocess.PIPE, text=True, errors="replace")
    *problems, summary = done.stderr.splitlines() or [f"status {done.returncode}"]
    if done.returncode != 0:
        raise ArchiveError(summary)
    return problems


def _copy_list(source, folder):
    ids = set()
    try:
        with open(source, encoding="utf-8") as lines, written_whole(folder.list) as out:
            for number, line in enumerate(lines, 1):
                if not line.strip():
                    continue
                burst = json.loads(line)
                if not isinstance(burst, dict) or "id" not in burst or not burst.get("files"):
                    raise ValueError('needs "id" and "files"')
                if burst["id"] in ids:
                    raise ValueError(f"the id {burst['id']!r} comes twice")
                ids.add(burst["id"])
                burst["files"] = [file if "://" in file else os.path.abspath(file)
                                  for file in burst["files"]]
                out.write(json.dumps(with_facts(burst), ensure_ascii=False) + "\n")
    except OSError as error:
        raise ArchiveError(f"{source}: {error.strerror}") from error
    except ValueError as error:
        raise ArchiveError(f"{source}: line {number}: {error}") from error
    return []


def with_facts(burst):
    """Sizes and last changes, which tell a later run whether a file is another one."""
    if "bytes" not in burst:
        facts = []
        for file in burst["files"]:
            try:
                status = os.stat(file)
                facts.append((status.st_size, status.st_mtime_ns))
            except OSError:
                facts.append((None, None))
        burst["bytes"], burst["modified"] = map(list, zip(*facts))
    return burst


def _list_url(url, folder, tool, options):
    """Lists folder by folder, by the beginnings of the files, which are fetched for that."""
    import fsspec
    filesystem, root = fsspec.core.url_to_fs(url)
    problems = []
    with written_whole(folder.list) as out:
        for path, _, files in filesystem.walk(root, detail=True):
            below = path.removeprefix(root).strip("/").split("/")
            if files and not any(name.startswith((".", "@", "#")) for name in below):
                problems += _list_remote_folder(filesystem, path, files, out, tool, options)
    return problems


def _list_remote_folder(filesystem, path, files, out, tool, options):
    with tempfile.TemporaryDirectory(prefix="kelvane-") as scratch:
        infos = {}
        for name, info in sorted(files.items()):
            head = filesystem.cat_file(info["name"], start=0, end=min(HEAD_BYTES, info["size"]))
            pathlib.Path(scratch, name).write_bytes(head)
            infos[name] = info
        with tempfile.TemporaryFile("w+") as lines:
            problems = _run_list(tool, [scratch, *options], lines)
            lines.seek(0)
            for line in lines:
                burst = json.loads(line)
                names = [os.path.basename(file) for file in burst["files"]]
                burst["files"] = [filesystem.unstrip_protocol(infos[name]["name"])
                                  for name in names]
                burst["bytes"] = [infos[name]["size"] for name in names]
                burst["modified"] = [str(modified(infos[name])) for name in names]
                burst["id"] = f"{burst['files'][0]} {burst['times'][0]}"
                out.write(json.dumps(burst, ensure_ascii=False) + "\n")
        where = filesystem.unstrip_protocol(path)
        return [problem.replace(scratch, where) for problem in problems]


def modified(info):
    """What tells another version of a file; file systems name it differently."""
    return next((info[key] for key in ("mtime", "LastModified", "modified", "created", "ETag")
                 if key in info), None)
