# SPDX-License-Identifier: BSD-3-Clause
"""The summary of a cohort: summary.csv, summary.jsonl and summary.html in the folder of the runs.

They are sorted by id, so they do not depend on the number of workers but for seconds and memory, which the page leaves
out. Cases are read one after the other and figures lie in a temporary file, so memory hardly grows with the cases.
"""

from __future__ import annotations

import contextlib
import csv
import json
import os
import tempfile
from collections import Counter
from collections.abc import Callable, Iterable, Iterator
from pathlib import Path

from .case import is_current, read_record
from .figures import figures_of
from .page import PageCase, write_page
from .statistics import FAR_OUT, Distribution, distribution

FIRST_COLUMNS = ("id", "status", "step", "error", "warnings", "seconds", "peak_memory")
NOT_RUN, OUTDATED = "not run", "outdated"
BLOCK = 1024  # rows
MOST_OUTLIERS = 500  # cases that the page tells of
MOST_FIGURES_EACH = 5
MOST_CASES = 10_000  # rows of the page's table


def write_summary(runs: Path, tasks: Iterable[dict]) -> Counter[str]:
    """Writes the three files for tasks that are sorted by id, and gives how many cases have which status."""
    statuses: Counter[str] = Counter()
    columns: dict[str, int] = {}
    with _replacing(runs / "summary.jsonl") as lines:
        for task in tasks:
            row, figures = _row(task)
            statuses[row["status"]] += 1
            for name in figures:
                columns.setdefault(name, len(columns))
            lines.write(json.dumps({**row, **figures}, ensure_ascii=False) + "\n")
    with tempfile.TemporaryFile() as file:
        table = _FigureTable(file, columns, statuses.total())
        with _replacing(runs / "summary.csv") as out:
            _write_csv(out, runs / "summary.jsonl", columns, table)
        with _replacing(runs / "summary.html") as out:
            _write_page(out, runs, statuses, table)
    return statuses


def _row(task: dict) -> tuple[dict, dict]:
    """The first columns of a case, and its figures."""
    record = read_record(Path(task["folder"]))
    row = dict.fromkeys(FIRST_COLUMNS)
    if record is None or not is_current(record, task):
        row.update(id=task["id"], status=NOT_RUN if record is None else OUTDATED, warnings=0)
        return row, {}
    row.update({name: record.get(name) for name in FIRST_COLUMNS})
    row.update(id=task["id"], error=record["error"] or None, warnings=len(record["warnings"]))
    return row, figures_of(record["steps"])


@contextlib.contextmanager
def _replacing(path: Path):
    """A text file that appears whole, under its name, when it has been written."""
    beside = path.with_name(f"{path.name}.{os.getpid()}.new")
    try:
        with open(beside, "w", encoding="utf-8", newline="") as file:
            yield file
        os.replace(beside, path)
    finally:
        beside.unlink(missing_ok=True)


def _rows(jsonl: Path) -> Iterator[dict]:
    with open(jsonl, encoding="utf-8") as lines:
        for line in lines:
            yield json.loads(line)


def _write_csv(out, jsonl: Path, columns: dict[str, int], table: _FigureTable) -> None:
    writer = csv.writer(out, lineterminator="\n")
    writer.writerow([*FIRST_COLUMNS, *columns])
    for row in _rows(jsonl):
        writer.writerow([_cell(row.get(name)) for name in (*FIRST_COLUMNS, *columns)])
        table.add(row)
    table.flush()


def _cell(value: object) -> object:
    return str(value).lower() if isinstance(value, bool) else value


class _FigureTable:
    """The figures of all cases, column after column in a file; NaN where a case has none."""

    def __init__(self, file, columns: dict[str, int], rows: int):
        import numpy

        self.columns, self.numpy = columns, numpy
        self._values = numpy.memmap(file, float, "w+", shape=(max(1, len(columns)), max(1, rows)))
        self._block = numpy.empty((max(1, len(columns)), BLOCK))
        self._begin = self._filled = 0
        self._rows = rows

    def add(self, row: dict) -> None:
        if self._filled == BLOCK:
            self.flush()
        self._block[:, self._filled] = self.numpy.nan
        for name, column in self.columns.items():
            value = row.get(name)
            if isinstance(value, (int, float)) and not isinstance(value, bool) and abs(value) < 1e300:
                self._block[column, self._filled] = value
        self._filled += 1

    def flush(self) -> None:
        end = self._begin + self._filled
        self._values[:, self._begin:end] = self._block[:, :self._filled]
        self._begin, self._filled = end, 0

    def distributions(self) -> list[Distribution]:
        """Of the figures that are not the same in all cases, nor times."""
        found = []
        for name, column in self.columns.items():
            values = self._values[column, :self._rows]
            if name.rpartition(".")[2] != "seconds" and self.numpy.isfinite(values).any():
                found.append(distribution(name, values))
        return [d for d in found if d.minimum < d.maximum]

    def value(self, name: str, row: int) -> float | None:
        value = float(self._values[self.columns[name], row])
        return value if value == value else None

    def scores(self, one: Distribution):
        return one.score(self._values[self.columns[one.name], :self._rows])


def _write_page(out, runs: Path, statuses: Counter, table: _FigureTable) -> None:
    distributions = table.distributions()
    rows = statuses.total()
    farthest = table.numpy.zeros(rows)  # the largest score of each case
    for one in distributions:
        farthest = table.numpy.fmax(farthest, abs(table.scores(one)))
    order = sorted((i for i in table.numpy.nonzero(farthest > FAR_OUT)[0].tolist()), key=lambda i: (-farthest[i], i))
    shown = order[:MOST_OUTLIERS]
    scores: dict[int, list[tuple[str, float, float]]] = {i: [] for i in shown}
    for one in distributions:
        column = table.scores(one)
        for i in shown:
            if abs(column[i]) > FAR_OUT:
                scores[i].append((one.name, table.value(one.name, i), float(column[i])))
    outliers = {i: sorted(found, key=lambda s: -abs(s[2]))[:MOST_FIGURES_EACH] for i, found in scores.items()}
    write_page(out, statuses, distributions, len(order), outliers, _page_cases(runs, statuses, set(shown)), table.value)


def _page_cases(runs: Path, statuses: Counter, outliers: set[int]) -> Callable[[], Iterator[PageCase]]:
    """The cases that the page lists, each with its place: all, or of a great many those that matter and the first."""
    def cases() -> Iterator[PageCase]:
        room = MOST_CASES - len(outliers)
        few = statuses.total() <= MOST_CASES
        for place, row in enumerate(_rows(runs / "summary.jsonl")):
            if not few and place not in outliers:
                if room == 0 or (row["status"] == "done" and place >= MOST_CASES // 2):
                    continue
                room -= 1
            record = read_record(runs / row["id"]) or {}
            yield PageCase(place, row["id"], row["status"], row["step"] or "", row["error"] or "", row["warnings"],
                           record.get("pages", []), bool(record))
    return cases
