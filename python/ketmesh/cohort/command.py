# SPDX-License-Identifier: BSD-3-Clause
"""The command line: what is run, what is said, and the exit status."""

from __future__ import annotations

import argparse
import json
import os
import shutil
import signal
import subprocess
import sys
from collections.abc import Iterator
from pathlib import Path

from .case import is_current, read_record
from .cases import Cases, read_columns
from .faults import Fault, Faults
from .pipeline import Pipeline, expand, read_pipeline
from .progress import Progress
from .workers import run_here, run_on_cluster, run_on_this_machine

DONE, WRONG, NOT_ALL_DONE, CANCELLED = 0, 1, 2, 130
MARKER = "cohort.json"  # says that a folder holds runs, whose files may be replaced
FORMAT = 1

DESCRIPTION = "Runs the steps of a pipeline on every case of a cohort, on this machine or on a cluster."
EPILOG = """\
CASES.csv has a column id. PIPELINE.toml lists the steps, each a command line of ketmesh in which {column} stands for
the case's value:

  [[step]]
  name = "mesh"
  run = "ketmesh mesh {labels} -o mesh.vtu --size {size}"

Each case has the folder RUNS/<id>. What is done under the same inputs, steps and version is not run again.
Exit status: 0 all done; 1 bad input or wrong usage; 2 some cases are not done; 130 cancelled."""


class _Parser(argparse.ArgumentParser):
    def error(self, message: str):
        raise Fault(f"{message} (see python3 -m ketmesh.cohort --help)")


def _number(kind: type, least: float):
    def parse(text: str):
        value = kind(text)
        if not least <= value < float("inf"):
            raise ValueError
        return value
    parse.__name__ = "number"
    return parse


def _parser() -> argparse.ArgumentParser:
    parser = _Parser(prog="ketmesh.cohort", description=DESCRIPTION, epilog=EPILOG,
                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("cases", metavar="CASES.csv", type=Path)
    parser.add_argument("pipeline", metavar="PIPELINE.toml", type=Path)
    parser.add_argument("--out", metavar="RUNS", type=Path, required=True, help="folder of the runs")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--workers", metavar="N", type=_number(int, 0), default=len(os.sched_getaffinity(0)),
                       help="cases at a time on this machine, which share its cores (default: one for each core); "
                            "0: one case at a time, without dask")
    where.add_argument("--scheduler", metavar="ADDRESS", help="run on the workers of this dask scheduler")
    parser.add_argument("--timeout", metavar="S", type=_number(float, 0.001), help="seconds that a step may take")
    parser.add_argument("--memory", metavar="GB", type=_number(float, 0.001),
                        help="memory that the processes of a step may hold, in 10^9 bytes")
    parser.add_argument("--retries", metavar="N", type=_number(int, 0), default=0,
                        help="further tries of cases that crash, time out or run out of memory")
    parser.add_argument("--only", metavar="failed|ID,...",
                        help="only cases that an earlier run has not brought to done, or these")
    parser.add_argument("--program", metavar="PATH", help="ketmesh (default: $KETMESH, else beside this package, else "
                                                         "on the path)")
    what = parser.add_mutually_exclusive_group()
    what.add_argument("--no-summary", action="store_true", help="leave the summary as it is")
    what.add_argument("--summary-only", action="store_true", help="run nothing, write the summary of what is there")
    return parser


def main(arguments: list[str] | None = None) -> int:
    for number in (signal.SIGTERM, signal.SIGHUP):
        if signal.getsignal(number) != signal.SIG_IGN:
            signal.signal(number, signal.default_int_handler)
    try:
        return _run(_parser().parse_args(arguments))
    except Fault as fault:
        for line in fault.lines:
            print(f"ketmesh.cohort: {line}", file=sys.stderr)
        return WRONG
    except OSError as error:
        print(f"ketmesh.cohort: {error}", file=sys.stderr)
        return WRONG
    except KeyboardInterrupt:
        print("ketmesh.cohort: cancelled; the same command goes on where this one ended", file=sys.stderr)
        return CANCELLED


class _Cohort:
    """What a run is about: cases, pipeline, program and limits."""

    def __init__(self, options: argparse.Namespace):
        columns = read_columns(options.cases)
        self._pipeline: Pipeline = read_pipeline(options.pipeline, columns)
        self._cases = Cases(options.cases, columns, self._pipeline.option_like())
        self._only = self._read_only(options.only)
        self._program = find_program(options.program)
        self.runs = _make_runs(options.out)
        self._common = {
            "program": self._program, "version": _version_of(self._program), "timeout": options.timeout,
            "memory": round(options.memory * 1e9) if options.memory else None, "retries": options.retries}
        self._roots = [self._cases.folder, self._pipeline.folder, Path.cwd()]

    def _read_only(self, only: str | None) -> set[str] | str | None:
        if only is None or only == "failed":
            return only
        ids = {name for name in only.split(",") if name}
        faults = Faults()
        for name in sorted(ids):
            if name not in self._cases:
                faults.add(f'--only: there is no case "{name}"')
        faults.raise_any()
        if not ids:
            raise Fault('--only: name cases by their ids, or "failed"')
        return ids

    def _task(self, row: dict[str, str]) -> dict:
        steps = expand(self._pipeline, row, self._roots)
        for path in (word["path"] for step in steps for word in step["words"] if isinstance(word, dict)):
            if Path(os.path.realpath(path)).is_relative_to(self.runs):
                raise Fault(f"{path}: the case {row['id']} reads it from {self.runs}, where cases are emptied before "
                            "they run: name another folder with --out")
        return {**self._common, "id": row["id"], "folder": str(self.runs / row["id"]), "steps": steps}

    def is_chosen(self, case_id: str) -> bool:
        """Whether --only, if it is given, takes a case as its folder stands now."""
        if self._only == "failed":
            record = read_record(self.runs / case_id)
            return record is not None and record["status"] != "done"
        return self._only is None or case_id in self._only

    def chosen(self) -> Iterator[dict[str, str]]:
        return (row for row in self._cases if self.is_chosen(row["id"]))

    def count(self) -> int:
        return len(self._cases) if self._only is None else sum(1 for _ in self.chosen())

    def undone(self, progress: Progress) -> Iterator[dict]:
        """The tasks of the chosen cases that are not done under their present key, as far as stamps of files tell."""
        for row in self.chosen():
            task = self._task(row)
            record = read_record(Path(task["folder"]))
            if record and record["status"] == "done" and is_current(record, task):
                progress.skip()
            else:
                yield task

    def by_id(self) -> Iterator[dict]:
        return (self._task(row) for row in self._cases.by_id())


def _run(options: argparse.Namespace) -> int:
    cohort = _Cohort(options)
    failed = 0
    if not options.summary_only:
        failed = _run_cases(cohort, options)
    if not options.no_summary:
        from .summary import write_summary

        statuses = write_summary(cohort.runs, cohort.by_id())
        told = ", ".join(f"{statuses[status]} {status}" for status in sorted(statuses))
        print(f"{told}; summary in {cohort.runs / 'summary.html'}")
        if options.summary_only or options.only is None:
            failed = statuses.total() - statuses["done"]
    return NOT_ALL_DONE if failed else DONE


def _run_cases(cohort: _Cohort, options: argparse.Namespace) -> int:
    """Runs what is not done, and gives how many cases did not get there."""
    with Progress(cohort.count()) as progress:
        failed = 0

        def finished(result: dict) -> None:
            nonlocal failed
            failed += result["status"] != "done"
            progress.finish(result["id"], result["status"], result["error"])

        tasks = cohort.undone(progress)
        first = next(tasks, None)
        if first is None:
            return 0

        def all_tasks() -> Iterator[dict]:
            yield first
            yield from tasks

        if options.scheduler:
            run_on_cluster(all_tasks(), options.scheduler, finished)
        elif options.workers:
            run_on_this_machine(all_tasks(), options.workers, finished)
        else:
            run_here(all_tasks(), finished)
        return failed


def find_program(named: str | None) -> str:
    """The path of ketmesh: as named, in $KETMESH, in the prefix that this package is installed in, or on the path."""
    for name in (named, os.environ.get("KETMESH")):
        if name:
            found = shutil.which(name)
            if not found:
                raise Fault(f"{name}: there is no such program")
            return os.path.abspath(found)
    libraries = next((parent for parent in Path(__file__).resolve().parents if parent.name == "lib"), None)
    beside = libraries.parent / "bin" / "ketmesh" if libraries else None
    found = str(beside) if beside and os.access(beside, os.X_OK) else shutil.which("ketmesh")
    if not found:
        raise Fault("there is no ketmesh on the path: name it with --program or $KETMESH")
    return os.path.abspath(found)


def _version_of(program: str) -> str:
    try:
        told = subprocess.run([program, "--version"], capture_output=True, stdin=subprocess.DEVNULL, timeout=60)
    except (OSError, subprocess.TimeoutExpired) as error:
        raise Fault(f"{program}: cannot be run: {error}") from None
    if told.returncode or not told.stdout.strip():
        raise Fault(f"{program}: it does not say its version: is it ketmesh?")
    return told.stdout.decode(errors="replace").strip()


def _make_runs(path: Path) -> Path:
    """The folder of the runs, made if need be. A folder with files of somebody else's is refused."""
    path = path.resolve()
    path.mkdir(parents=True, exist_ok=True)
    marker = path / MARKER
    try:
        if json.loads(marker.read_bytes()).get("format") == FORMAT:
            return path
        raise Fault(f"{path}: was written by another version: name a new folder with --out")
    except (ValueError, AttributeError):
        raise Fault(f"{marker}: is not of this program: name another folder with --out") from None
    except FileNotFoundError:
        pass
    if any(path.iterdir()):
        raise Fault(f"{path}: holds files that are not of this program: name a new or empty folder with --out")
    beside = path / f"{MARKER}.{os.getpid()}"
    beside.write_text(json.dumps({"format": FORMAT}) + "\n")
    os.replace(beside, marker)
    return path
