"""Pages of an archive: years, months, days, and their bursts. Static files, each below 2 MB."""
import html
import itertools
import pathlib

from . import thumbnails
from .files import written_whole
from .parts import RunFolder

PAGE_BYTES = 1_500_000
UNDATED = "undated"

STYLE = """
body { font: 15px/1.4 sans-serif; margin: 1.5em; max-width: 90em; color: #222; }
a { color: #05a; text-decoration: none; } h2 { font-size: 1em; margin: 1.5em 0 .3em; }
td, th { padding: .1em 1em .1em 0; text-align: right; } th:first-child, td:first-child { text-align: left; }
figure { display: inline-block; margin: 0 6px 6px 0; width: 160px; font-size: 12px; vertical-align: top; }
figure img { max-width: 160px; border: 3px solid transparent; box-sizing: border-box; }
figcaption { overflow: hidden; text-overflow: ellipsis; white-space: nowrap; }
.kept img { border-color: #8c8; } .best img { border-color: #080; }
body[data-show=kept] figure:not(.kept), body[data-show=best] figure:not(.best) { display: none; }
.error { color: #a00; }
"""
FILTER = """<p>Show <select onchange="document.body.dataset.show = this.value">
<option value="all">all frames<option value="kept">kept frames<option value="best">best frames
</select></p>"""


def _page(title, up, body):
    back = f'<p><a href="{up}">Up</a></p>' if up else ""
    return (f'<!doctype html><html lang="en"><meta charset="utf-8"><title>{html.escape(title)}</title>'
            f"<style>{STYLE}</style><body><h1>{html.escape(title)}</h1>{back}{body}</body></html>")


def _link(path):
    return html.escape(path if "://" in path else pathlib.Path(path).absolute().as_uri())


def _figure(frame):
    kind = "best kept" if frame["best"] else "kept" if frame["best"] == 0 else ""
    name = html.escape(pathlib.PurePath(frame["path"]).name)
    return (f'<figure class="{kind}"><a href="{_link(frame["path"])}">'
            f'<img loading="lazy" src="{thumbnails.name_of(frame["path"])}" alt="{name}"></a>'
            f'<figcaption>{name}</figcaption>{frame["blur"]}{" best" if frame["best"] else ""}'
            "</figure>")


def _burst(base, burst):
    frames = base.execute("SELECT frames.*, choices.best AS best FROM frames LEFT JOIN choices "
                          "USING (frame) WHERE frames.burst = ? ORDER BY number", (burst["burst"],))
    time = (burst["start"] or "")[11:19]
    return (f'<h2 id="b{burst["burst"]}">{time} {html.escape(burst["reason"] or "")}</h2>'
            + "".join(map(_figure, frames)))


class _Writer:
    def __init__(self, base, folder):
        self._base, self._folder, self.pages = base, folder, 0

    def write(self, name, title, up, body):
        with written_whole(self._folder / f"{name}.html") as file:
            file.write(_page(title, up, body))
        self.pages += 1

    def write_day(self, day, bursts):
        """The pages of a day, of which there are more when one would grow too large."""
        bodies = [FILTER]
        for burst in bursts:
            text = _burst(self._base, burst)
            if len(bodies[-1]) + len(text) > PAGE_BYTES and bodies[-1] != FILTER:
                bodies.append(FILTER)
            bodies[-1] += text
        names = [day, *(f"{day}-{number}" for number in range(2, len(bodies) + 1))]
        for name, after, body in itertools.zip_longest(names, names[1:], bodies):
            more = f'<p><a href="{after}.html">More of this day</a></p>' if after else ""
            self.write(name, day, f"{day[:7]}.html" if day != UNDATED else "index.html", body + more)

    def write_table(self, name, title, up, rows):
        """A page that leads to others: rows of a page, its bursts, frames and kept frames."""
        body = "<table><tr><th><th>bursts<th>frames<th>kept</tr>" + "".join(
            f'<tr><td><a href="{key}.html">{key}</a><td>{bursts}<td>{frames}<td>{kept}</tr>'
            for key, bursts, frames, kept in rows) + "</table>"
        self.write(name, title, up, body + (self._errors() if not up else ""))

    def _errors(self):
        count, = self._base.execute("SELECT count(*) FROM errors").fetchone()
        shown = self._base.execute("SELECT path, reason FROM errors LIMIT 1000").fetchall()
        lines = "".join(f'<li>{html.escape(str(path))}: {html.escape(reason)}'
                        for path, reason in shown)
        return f'<h2 class="error">{count} errors</h2><ul>{lines}</ul>' if count else ""


def _counts(base, digits, prefix=""):
    return base.execute(
        "SELECT coalesce(substr(start, 1, ?), ?) AS key, count(DISTINCT bursts.burst), "
        "count(frames.frame), count(choices.frame) FROM bursts JOIN frames USING (burst) LEFT JOIN "
        "choices USING (frame) WHERE coalesce(start, '') >= ? AND coalesce(start, '') < ? "
        "GROUP BY key ORDER BY key", (digits, UNDATED, prefix, prefix + "~")).fetchall()


def _write_pages(base, folder):
    writer = _Writer(base, folder)
    years = _counts(base, 4)
    writer.write_table("index", "Photographs", "", years)
    for year, *_ in years:
        if year == UNDATED:
            writer.write_day(UNDATED, base.execute("SELECT * FROM bursts WHERE start IS NULL"))
            continue
        months = _counts(base, 7, year)
        writer.write_table(year, year, "index.html", months)
        for month, *_ in months:
            days = _counts(base, 10, month)
            writer.write_table(month, month, f"{year}.html", days)
            for day, *_ in days:
                writer.write_day(day, base.execute(
                    "SELECT * FROM bursts WHERE start >= ? AND start < ? ORDER BY start, burst",
                    (day, day + "~")))
    return writer.pages


def write_report(out, tool, processes=None):
    """Makes the pages and their small pictures in `out`/report; returns how many pages."""
    run = RunFolder(out)
    base = run.open_database()
    folder = run.path / "report"
    folder.mkdir(exist_ok=True)
    for old in folder.glob("*.html"):
        old.unlink()
    pictures = ((path, (width, height)) for path, width, height in
                base.execute("SELECT path, width, height FROM frames"))
    thumbnails.make_all(pictures, folder, tool, processes)
    try:
        return _write_pages(base, folder)
    finally:
        base.close()
