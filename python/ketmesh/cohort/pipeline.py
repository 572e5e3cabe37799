# SPDX-License-Identifier: BSD-3-Clause
"""PIPELINE.toml: the steps that every case goes through."""

from __future__ import annotations

import os
import re
import shlex
import string
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

from .faults import Fault, Faults

STEP_NAME = re.compile(r"[A-Za-z0-9][A-Za-z0-9_-]{0,63}")
# Options of the program whose value is a file or folder that it writes.
OUTPUT_OPTIONS = ("-o", "--output", "--plot", "--keep", "--catalog")
NUMBERS = re.compile(r"[-+]?[\d.]+([eE][-+]?\d+)?(,[-+]?[\d.]+([eE][-+]?\d+)?)*")

Piece = tuple[str, str | None]  # text as it stands, and the column whose value follows


@dataclass(frozen=True)
class Word:
    """One word of a command line: pieces of text and columns."""

    pieces: tuple[Piece, ...]

    def columns(self) -> list[str]:
        return [column for _, column in self.pieces if column is not None]

    def fill(self, row: dict[str, str]) -> str:
        return "".join(text + (row[column] if column is not None else "") for text, column in self.pieces)

    def leading_column(self) -> str | None:
        """The column that the word begins with."""
        text, column = self.pieces[0] if self.pieces else ("", None)
        return column if not text else None

    def is_value(self) -> bool:
        """Whether the word is the value of one column and nothing else, but for the id."""
        return len(self.pieces) == 1 and self.pieces[0][0] == "" and self.pieces[0][1] not in (None, "id")


@dataclass(frozen=True)
class Step:
    """A command line of the program under a name."""

    name: str
    words: tuple[Word, ...]


@dataclass(frozen=True)
class Pipeline:
    """The steps in their order, and the folder of the file, which shared inputs are relative to."""

    folder: Path
    steps: tuple[Step, ...]

    def option_like(self) -> set[str]:
        """Columns at the beginning of words: their values must not look like options."""
        return {c for step in self.steps for word in step.words if (c := word.leading_column()) is not None}


def read_pipeline(path: Path, columns: list[str]) -> Pipeline:
    """Reads and checks a pipeline whose cases have these columns. Throws Fault."""
    try:
        import tomllib
    except ModuleNotFoundError:
        raise Fault("Python 3.11 or newer is needed to read a pipeline") from None
    try:
        with open(path, "rb") as file:
            content = tomllib.load(file)
    except OSError as error:
        raise Fault(f"{path}: {error.strerror}") from None
    except (tomllib.TOMLDecodeError, UnicodeDecodeError) as error:
        raise Fault(f"{path}: no TOML: {error}") from None
    faults = Faults()
    for key in content.keys() - {"step"}:
        faults.add(f'{path}: unknown key "{key}": a pipeline is a list of [[step]]')
    tables = content.get("step", [])
    if not isinstance(tables, list) or not tables or not all(isinstance(table, dict) for table in tables):
        faults.add(f"{path}: there is no step: write [[step]] with name and run")
        faults.raise_any()
    steps: list[Step] = []
    for number, table in enumerate(tables, 1):
        step = _read_step(table, f"{path}: step {number}", columns, faults)
        if step and any(step.name == other.name for other in steps):
            faults.add(f'{path}: step {number}: the name "{step.name}" is taken: each step needs its own')
        elif step:
            steps.append(step)
    faults.raise_any()
    return Pipeline(path.resolve().parent, tuple(steps))


def _read_step(table: dict, where: str, columns: list[str], faults: Faults) -> Step | None:
    for key in table.keys() - {"name", "run"}:
        faults.add(f'{where}: unknown key "{key}": a step has name and run')
    name, run = table.get("name"), table.get("run")
    if not isinstance(name, str) or not STEP_NAME.fullmatch(name):
        faults.add(f"{where}: name must be a word of letters, digits, - and _")
        return None
    where += f' ("{name}")'
    if not isinstance(run, str):
        faults.add(f"{where}: run must be a command line of ketmesh")
        return None
    try:
        texts = shlex.split(run)
        words = [_read_word(text) for text in texts]
    except ValueError as error:
        faults.add(f"{where}: run: {error}")
        return None
    if texts[:1] == ["ketmesh"]:
        words = words[1:]
    if not words or words[0].columns():
        faults.add(f"{where}: run must begin with ketmesh and a command")
        return None
    for column in sorted({c for word in words for c in word.columns()} - set(columns)):
        faults.add(f"{where}: there is no column {{{column}}} in the cases: they have {', '.join(columns)}")
    for target in _fixed_outputs(words):
        if os.path.isabs(target) or ".." in Path(target).parts:
            faults.add(f"{where}: every case would write {target}: name a file in the case's own folder")
    return Step(name, tuple(words))


def _fixed_outputs(words: list[Word]) -> Iterator[str]:
    """What is written under the same name in all cases, as `-o NAME` or `--output=NAME`."""
    texts = [word.fill({}) if not word.columns() else None for word in words]
    for option, text in zip([None, *texts], texts):
        if text is not None and option in OUTPUT_OPTIONS:
            yield text
        elif text is not None and (joined := _split_option(text))[0][:-1] in OUTPUT_OPTIONS:
            yield joined[1]


def _read_word(text: str) -> Word:
    """Throws ValueError for braces that name no column."""
    pieces: list[Piece] = []
    for literal, field, spec, conversion in string.Formatter().parse(text):
        if field is not None and (spec or conversion or not field):
            raise ValueError("braces hold the name of a column; write {{ and }} for braces themselves")
        pieces.append((literal, field))
    return Word(tuple(pieces))


def expand(pipeline: Pipeline, row: dict[str, str], roots: list[Path]) -> list[dict]:
    """The steps of one case: [{"name", "words"}], where a word is text or {"option", "path"} of an input.

    A word is an input when it names a file or folder that is there, in one of the roots unless it is absolute. What an
    earlier step writes comes first, so it stays relative to the case's folder.
    """
    written: set[str] = set()
    steps = []
    for step in pipeline.steps:
        texts = [word.fill(row) for word in step.words]
        outputs = {i + 1 for i, text in enumerate(texts) if text in OUTPUT_OPTIONS}
        words: list[str | dict] = texts[:1]
        for i, text in enumerate(texts[1:], 1):
            option, value = _split_option(text)
            if i in outputs or option[:-1] in OUTPUT_OPTIONS:
                words.append(text)
                continue
            path = None if value in written else _find(value, step.words[i].is_value(), roots)
            words.append({"option": option, "path": path} if path else text)
        written |= {texts[i] for i in outputs if i < len(texts)}
        steps.append({"name": step.name, "words": words})
    return steps


def _split_option(text: str) -> tuple[str, str]:
    """--option=value as "--option=" and the value; other options have none, other words no option."""
    if not text.startswith("-") or NUMBERS.fullmatch(text):
        return "", text
    option, equals, value = text.partition("=")
    return option + equals, value if equals else ""


def _find(text: str, is_value: bool, roots: list[Path]) -> str | None:
    if not text or "\0" in text or NUMBERS.fullmatch(text) or not (is_value or "/" in text or "." in text):
        return None
    if os.path.isabs(text):
        return text
    return next((str(root / text) for root in roots if (root / text).exists()), None)
