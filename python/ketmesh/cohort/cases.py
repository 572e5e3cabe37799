# SPDX-License-Identifier: BSD-3-Clause
"""CASES.csv: a row per case, with the case's id and what the steps want to know of it."""

from __future__ import annotations

import csv
import json
import re
import sqlite3
from collections.abc import Iterator
from pathlib import Path

from .faults import Fault, Faults
from .pipeline import NUMBERS

ID = re.compile(r"[A-Za-z0-9][A-Za-z0-9._+=@-]{0,126}[A-Za-z0-9_+=@-]|[A-Za-z0-9]")
# Names in the folder of the runs that are no case, and the word of --only.
RESERVED = ("cohort.json", "summary.csv", "summary.jsonl", "summary.html", "failed")


def read_columns(path: Path) -> list[str]:
    """The names of the columns. Throws Fault."""
    with _open(path) as file:
        columns = next(_rows(file, path), (0, []))[1]
    if "id" not in columns:
        raise Fault(f'{path}: there is no column "id": the first line names the columns')
    faults = Faults()
    for column in sorted(set(columns)):
        if not column or columns.count(column) > 1:
            faults.add(f'{path}: the column "{column}" stands {columns.count(column)} times' if column
                       else f"{path}: a column has no name")
        elif set(column) & set("{}!:"):
            faults.add(f'{path}: the column "{column}" cannot be named in a step: use no braces, colons and !')
    faults.raise_any()
    return columns


class Cases:
    """The rows by id. They lie in a temporary file of their own, so that memory does not grow with them."""

    def __init__(self, path: Path, columns: list[str], option_like: set[str]):
        """Reads and checks all rows; values of the columns `option_like` must not look like options. Throws Fault."""
        self.folder = path.resolve().parent
        self._table = sqlite3.connect("")
        self._table.execute("CREATE TABLE cases (id TEXT UNIQUE, line INTEGER, row TEXT)")
        faults = Faults()
        with _open(path) as file:
            rows = _rows(file, path)
            next(rows)
            for line, cells in rows:
                self._add(f"{path}: line {line}", line, cells, columns, option_like, faults)
        faults.raise_any()
        if not len(self):
            raise Fault(f"{path}: there are no cases")

    def _add(self, where: str, line: int, cells: list[str], columns: list[str], option_like: set[str],
             faults: Faults) -> None:
        if len(cells) != len(columns):
            faults.add(f"{where}: {len(cells)} cells where the first line has {len(columns)} columns")
            return
        row = dict(zip(columns, cells))
        if not ID.fullmatch(row["id"]):
            faults.add(f'{where}: the id "{_short(row["id"])}" is no safe name of a folder: '
                       "use letters, digits and . _ - + = @, up to 128")
            return
        if row["id"] in RESERVED:
            faults.add(f'{where}: the id "{row["id"]}" is taken by the program: choose another')
            return
        for column in option_like:
            if row[column].startswith("-") and not NUMBERS.fullmatch(row[column]):
                faults.add(f'{where}: {column} "{_short(row[column])}" would be taken for an option')
        if any("\0" in cell for cell in cells):
            faults.add(f"{where}: a cell holds a zero byte")
        try:
            self._table.execute("INSERT INTO cases VALUES (?, ?, ?)", (row["id"], line, json.dumps(row)))
        except sqlite3.IntegrityError:
            (first,) = self._table.execute("SELECT line FROM cases WHERE id = ?", (row["id"],)).fetchone()
            faults.add(f'{where}: the id "{row["id"]}" stands in line {first} already')

    def __len__(self) -> int:
        return self._table.execute("SELECT COUNT(*) FROM cases").fetchone()[0]

    def __contains__(self, case_id: str) -> bool:
        return self._table.execute("SELECT 1 FROM cases WHERE id = ?", (case_id,)).fetchone() is not None

    def __iter__(self) -> Iterator[dict[str, str]]:
        """In the order of the file."""
        return self._select("rowid")

    def by_id(self) -> Iterator[dict[str, str]]:
        return self._select("id")

    def _select(self, order: str) -> Iterator[dict[str, str]]:
        for (row,) in self._table.execute(f"SELECT row FROM cases ORDER BY {order}"):
            yield json.loads(row)


def _open(path: Path):
    try:
        return open(path, encoding="utf-8-sig", newline="")
    except OSError as error:
        raise Fault(f"{path}: {error.strerror}") from None


def _rows(file, path: Path) -> Iterator[tuple[int, list[str]]]:
    """Number and cells of each line that is not empty, without blanks around the cells."""
    reader = csv.reader(file, strict=True)
    try:
        for cells in reader:
            if any(cell.strip() for cell in cells):
                yield reader.line_num, [cell.strip() for cell in cells]
    except csv.Error as error:
        raise Fault(f"{path}: line {reader.line_num}: {error}") from None
    except UnicodeDecodeError:
        raise Fault(f"{path}: line {reader.line_num + 1} or a later one: no UTF-8") from None


def _short(text: str) -> str:
    return text if len(text) <= 40 else text[:39] + "…"
