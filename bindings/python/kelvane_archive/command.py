"""The command line of kelvane-archive."""
import argparse
import sys

from . import tool
from .batches import BatchSize
from .error import ArchiveError


def _run(given):
    from .run import run
    total, errors = run(
        given.source, given.out, tool=tool.find(given.tool), list_options=given.list_option,
        pick_options=given.pick_options, size=BatchSize(given.batch_files, given.batch_bytes),
        patience=given.patience, scratch=given.scratch, scheduler=given.scheduler,
        slurm=given.slurm, processes=given.processes, memory=given.memory,
        retry_errors=given.retry_errors)
    print(f"{total} bursts answered, {errors} errors in this run: {given.out}/archive.sqlite")


def _report(given):
    from .report import write_report
    pages = write_report(given.out, tool.find(given.tool), given.processes)
    print(f"{pages} pages: {given.out}/report/index.html")


def _apply(given):
    from .apply import apply, undo
    if given.undo:
        undo(given.undo, given.yes)
    elif not given.out:
        raise ArchiveError("apply needs the DIR of a run")
    else:
        apply(given.out, given.yes, xmp=given.xmp, link_to=given.link_to, copy_to=given.copy_to)


def _bytes(text):
    units = {"K": 10, "M": 20, "G": 30}
    unit = units.get(text[-1:].upper(), 0)
    return int(text[:-1] if unit else text) << unit


def _add_run(commands):
    run = commands.add_parser("run", help="rank the bursts of an archive; goes on where it stopped",
                              epilog="What follows -- are options of `kelvane pick`.")
    run.add_argument("source", metavar="SOURCE",
                     help="a folder, a list made by `kelvane list`, or the URL of a folder")
    run.add_argument("--out", required=True, metavar="DIR", help="where the results are kept")
    run.add_argument("--scheduler", metavar="ADDRESS", help="of a Dask cluster: tcp://host:8786")
    run.add_argument("--slurm", action="store_true", help="start workers by Slurm")
    run.add_argument("--processes", type=int, metavar="N", help="workers (as many as processors)")
    run.add_argument("--memory", type=_bytes, metavar="BYTES", help="of each worker, such as 2G")
    run.add_argument("--batch-files", type=int, default=BatchSize.files, metavar="N")
    run.add_argument("--batch-bytes", type=_bytes, default=BatchSize.bytes, metavar="BYTES")
    run.add_argument("--patience", type=float, default=600, metavar="SECONDS",
                     help="after which a burst is given up (600)")
    run.add_argument("--retry-errors", action="store_true",
                     help="rank bursts again of which something could not be read")
    run.add_argument("--scratch", default="", metavar="DIR", help="where fetched files are kept")
    run.add_argument("--list-option", action="append", default=[], metavar="OPTION",
                     help="of `kelvane list`: --list-option=--since=2026-05-01; may be repeated")
    run.set_defaults(call=_run)


def _parser():
    parser = argparse.ArgumentParser(prog="kelvane-archive", description=(
        "Ranks an archive of photographs, on one machine or many, and shows what was chosen."))
    parser.add_argument("--tool", help="the command-line tool (kelvane, or $KELVANE_TOOL)")
    commands = parser.add_subparsers(required=True, metavar="COMMAND")
    _add_run(commands)
    report = commands.add_parser("report", help="make pages of what was chosen")
    report.add_argument("out", metavar="DIR")
    report.add_argument("--processes", type=int, metavar="N")
    report.set_defaults(call=_report)
    apply = commands.add_parser("apply", help="carry the choices out; says only what it would do "
                                              "without --yes")
    apply.add_argument("out", metavar="DIR", nargs="?")
    way = apply.add_mutually_exclusive_group(required=True)
    way.add_argument("--xmp", action="store_true", help="write ratings beside the photographs")
    way.add_argument("--link-to", metavar="TARGET")
    way.add_argument("--copy-to", metavar="TARGET")
    way.add_argument("--undo", metavar="LIST", help="take back what a list names")
    apply.add_argument("--yes", action="store_true", help="do it")
    apply.set_defaults(call=_apply)
    return parser


def main(arguments=None):
    words = list(sys.argv[1:] if arguments is None else arguments)
    at = words.index("--") if "--" in words else len(words)
    given = _parser().parse_args(words[:at])
    given.pick_options = tuple(words[at + 1:])
    try:
        given.call(given)
    except ArchiveError as error:
        print(f"kelvane-archive: {error}", file=sys.stderr)
        return 1
    except OSError as error:
        print(f"kelvane-archive: {error}; start it again, it goes on where it stopped",
              file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("kelvane-archive: interrupted; start it again, it goes on where it stopped",
              file=sys.stderr)
        return 130
    return 0
