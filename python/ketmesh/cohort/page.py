# SPDX-License-Identifier: BSD-3-Clause
"""summary.html: a page that asks nothing of a network and runs no script."""

from __future__ import annotations

from collections import Counter
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from html import escape
from urllib.parse import quote

from .statistics import BINS, FAR_OUT, Distribution

MOST_HISTOGRAMS = 200
MOST_COLUMNS = 24  # of figures in the table of cases

STYLE = """
:root { color-scheme: light dark; --line: #8884; --bar: #3b78b8; --far: #c2410c; }
body { font: 14px/1.45 system-ui, sans-serif; margin: 2rem auto; max-width: 84rem; padding: 0 1rem; }
h1 { font-size: 1.5rem; } h2 { font-size: 1.1rem; margin-top: 2.2rem; }
table { border-collapse: collapse; } .wide { overflow-x: auto; }
th, td { text-align: left; padding: .2rem .7rem .2rem 0; border-bottom: 1px solid var(--line); vertical-align: top; }
th { font-weight: 600; } td.n, th.n { text-align: right; font-variant-numeric: tabular-nums; }
.done { color: #15803d; } .bad { color: var(--far); } .note { opacity: .7; }
.plots { display: grid; grid-template-columns: repeat(auto-fill, minmax(17rem, 1fr)); gap: 1.2rem; }
figure { margin: 0; } figcaption { font-size: 12px; overflow-wrap: anywhere; }
svg { width: 100%; height: 5.5rem; } rect { fill: var(--bar); } rect.far { fill: var(--far); }
"""


@dataclass
class PageCase:
    """A row of the table of cases."""

    place: int  # among all cases by id
    id: str
    status: str
    step: str
    error: str
    warnings: int
    pages: list[str]  # in the case's folder
    has_record: bool


Value = Callable[[str, int], "float | None"]  # of a figure and the place of a case


def write_page(out, statuses: Counter, distributions: list[Distribution], outlier_count: int,
               outliers: dict[int, list[tuple[str, float, float]]], cases: Callable[[], Iterator[PageCase]],
               value: Value) -> None:
    """`outliers`: figure, value and robust z-score by place, the farthest case first."""
    out.write('<!DOCTYPE html>\n<html lang="en"><head><meta charset="utf-8">\n'
              "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
              '<meta name="viewport" content="width=device-width">\n<title>Cohort</title>\n'
              f"<style>{STYLE}</style></head><body>\n")
    total = statuses.total()
    out.write(f"<h1>{total} {'case' if total == 1 else 'cases'}</h1>\n<p>")
    out.write(", ".join(f'<span class="{_class(s)}">{statuses[s]} {escape(s)}</span>' for s in sorted(statuses)))
    out.write("</p>\n")
    by_name = {one.name: one for one in distributions}
    _write_outliers(out, {c.place: c for c in cases() if c.place in outliers}, outlier_count, outliers, by_name)
    _write_unfinished(out, cases)
    _write_histograms(out, distributions)
    _write_cases(out, total, cases, [one.name for one in distributions][:MOST_COLUMNS], len(distributions), value)
    out.write("</body></html>\n")


def _class(status: str) -> str:
    return "done" if status == "done" else "bad"


def _number(value: float | None) -> str:
    return "" if value is None else f"{value:.6g}"


def _link(case: PageCase) -> str:
    if not case.has_record:
        return escape(case.id)
    folder = quote(case.id)
    pages = "".join(f' <a href="{folder}/{quote(page)}">{escape(page)}</a>' for page in case.pages)
    return f'<a href="{folder}/case.json">{escape(case.id)}</a>{pages}'


def _table(out, headings: list[str], rows: Iterator[list[str]], first_number: int) -> None:
    """Cells are HTML; from `first_number` on they are numbers."""
    def row(tag: str, cells: list[str]) -> str:
        return "<tr>" + "".join(
            f"<{tag}{' class=n' if i >= first_number else ''}>{c}</{tag}>" for i, c in enumerate(cells)) + "</tr>\n"
    out.write('<div class="wide"><table>\n' + row("th", headings))
    for cells in rows:
        out.write(row("td", cells))
    out.write("</table></div>\n")


def _write_outliers(out, cases: dict[int, PageCase], count: int, outliers: dict,
                    by_name: dict[str, Distribution]) -> None:
    out.write(f"<h2>Outliers</h2>\n<p class=note>Cases with a figure more than {FAR_OUT} robust standard deviations "
              "from the median of all: look at these first.</p>\n")
    if not outliers:
        out.write("<p>There are none.</p>\n")
        return

    def rows() -> Iterator[list[str]]:
        for place, figures in outliers.items():
            for i, (name, value, score) in enumerate(figures):
                yield [_link(cases[place]) if i == 0 else "", escape(name), _number(value),
                       _number(by_name[name].median), f"{score:+.1f}"]
    _table(out, ["case", "figure", "value", "median", "robust z"], rows(), 2)
    if count > len(outliers):
        out.write(f"<p class=note>and {count - len(outliers)} more cases</p>\n")


def _write_unfinished(out, cases: Callable[[], Iterator[PageCase]]) -> None:
    rows = ([_link(c), f"<span class=bad>{escape(c.status)}</span>", escape(c.step), escape(c.error)]
            for c in cases() if c.status != "done")
    first = next(rows, None)
    if first is None:
        return
    out.write("<h2>Not done</h2>\n")

    def all_rows() -> Iterator[list[str]]:
        yield first
        yield from rows
    _table(out, ["case", "status", "step", "error"], all_rows(), 4)


def _write_histograms(out, distributions: list[Distribution]) -> None:
    out.write("<h2>Figures over the cohort</h2>\n")
    if not distributions:
        out.write("<p>There is no figure that differs between cases.</p>\n")
        return
    out.write('<p class=note>Bars at the ends in another colour hold what lies far out.</p>\n<div class="plots">\n')
    for one in distributions[:MOST_HISTOGRAMS]:
        out.write(_histogram(one))
    out.write("</div>\n")
    if len(distributions) > MOST_HISTOGRAMS:
        out.write(f"<p class=note>and {len(distributions) - MOST_HISTOGRAMS} more figures in summary.csv</p>\n")


def _histogram(one: Distribution) -> str:
    bars = [one.below, *(one.bins or [one.count - one.below - one.above]), one.above]
    highest = max(bars)
    width = 100 / (BINS + 2) if one.bins else 100 / 3
    drawn = []
    for i, count in enumerate(bars):
        if count:
            height = max(1.0, 50 * count / highest)  # a single case shows, too
            far = ' class="far"' if i in (0, len(bars) - 1) else ""
            drawn.append(f'<rect{far} x="{i * width:.2f}" y="{50 - height:.2f}" width="{width * 0.9:.2f}" '
                         f'height="{height:.2f}"><title>{count}</title></rect>')
    return (f'<figure><svg viewBox="0 0 100 50" preserveAspectRatio="none">{"".join(drawn)}</svg>'
            f"<figcaption><b>{escape(one.name)}</b><br>{_number(one.minimum)} … median {_number(one.median)} … "
            f"{_number(one.maximum)}, {one.count} cases</figcaption></figure>\n")


def _write_cases(out, total: int, cases: Callable[[], Iterator[PageCase]], figures: list[str], all_figures: int,
                 value: Value) -> None:
    out.write("<h2>Cases</h2>\n")
    shown = 0

    def rows() -> Iterator[list[str]]:
        nonlocal shown
        for case in cases():
            shown += 1
            yield [_link(case), f'<span class="{_class(case.status)}">{escape(case.status)}</span>', str(case.warnings),
                   *(_number(value(name, case.place)) for name in figures)]
    _table(out, ["case", "status", "warnings", *map(escape, figures)], rows(), 2)
    left_out = [f"{more} more {what}" for more, what in ((total - shown, "cases"), (all_figures - len(figures), "figures"))
                if more > 0]
    if left_out:
        out.write(f"<p class=note>{' and '.join(left_out)} are in summary.csv</p>\n")
