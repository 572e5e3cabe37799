#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Cohorts with planted faults, and runs of them that are killed at random moments.

The tests use small ones. By hand, with KETMESH naming the program:

    trials.py faults FOLDER --cases 1000     # every kind of fault, the same summary for 1, 2 and 4 workers
    trials.py kills FOLDER --cases 1000      # workers and drivers killed, and resumed until all is done
    trials.py many FOLDER --cases 100000     # trivial cases: memory of the driver, and cases a second
    trials.py scheduler FOLDER --cases 1000  # an external scheduler with two workers, one of which is killed
"""

from __future__ import annotations

import argparse
import contextlib
import csv
import json
import os
import random
import re
import shlex
import signal
import subprocess
import sys
import time
from collections import Counter
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
COHORT = ROOT / "python" / "ketmesh" / "cohort"  # runs as a folder, without the compiled module
SMALL_MESH = ROOT / "data" / "wedge_beam14.vtu"
VOLATILE = {"seconds", "peak_memory"}

# Stands in for the program: the command `fault` does what a cohort must survive; all others are the program's own.
# Whatever starts is noted, with the case's folder.
PROGRAM = """#!/bin/sh
[ "$1" = --version ] && { echo "ketmesh ${TRIAL_VERSION:-trial}"; exit 0; }
echo "$PWD $1" >>"$(dirname "$0")/ledger"
[ "$1" = fault ] || exec KETMESH "$@"
case "$2" in
none) echo "{\\"value\\": $3, \\"even\\": true, \\"warnings\\": []}" ;;
slow) sleep 0.3; echo "{\\"value\\": $3, \\"warnings\\": [\\"slow\\"]}" ;;
hang) (trap '' TERM; sleep 987 & wait) ;;
eat) exec tail /dev/zero ;;
die) kill -SEGV $$ ;;
check) echo '{"warnings": []}'; echo "ketmesh: too bad" >&2; exit 2 ;;
mute) ;;
flood) exec yes ;;
memory) echo '{"error": "there is not enough memory"}'; exit 1 ;;
esac
"""
PIPELINE = """
[[step]]
name = "info"
run = "ketmesh info {mesh}"

[[step]]
name = "fault"
run = "fault {fault} {value}"

[[step]]
name = "convert"
run = "ketmesh convert {mesh} --to tet4 -o cut.vtu"
"""
TRIVIAL_PIPELINE = '[[step]]\nname = "fault"\nrun = "fault {fault} {value}"\n'
EXPECTED = {"none": "done", "slow": "done", "hang": "timeout", "eat": "out-of-memory", "die": "crashed",
            "check": "failed", "mute": "failed", "flood": "failed", "memory": "out-of-memory",
            "missing": "refused", "damaged": "refused"}


class Study:
    """A cohort in a folder: cases, pipeline, program."""

    def __init__(self, folder: Path, faults: list[str], pipeline: str = PIPELINE):
        """`faults`: what happens to each case, a key of EXPECTED."""
        self.folder = folder.resolve()
        self.folder.mkdir(parents=True, exist_ok=True)
        ketmesh = shlex.quote(os.environ.get("KETMESH", "ketmesh"))
        self.program = self._write("ketmesh", PROGRAM.replace("KETMESH", ketmesh))
        self.program.chmod(0o755)
        self.pipeline = self._write("pipeline.toml", pipeline)
        whole = SMALL_MESH.read_bytes()
        self._write("damaged.vtu", whole[: len(whole) // 2])
        self._write("mesh.vtu", whole)
        self.expected = {f"case-{i:06}": EXPECTED[fault] for i, fault in enumerate(faults)}
        self.cases = self.folder / "cases.csv"
        with open(self.cases, "w", newline="") as file:
            writer = csv.writer(file)
            writer.writerow(["id", "mesh", "fault", "value"])
            for i, fault in reversed(list(enumerate(faults))):
                mesh = {"missing": "nothere.vtu", "damaged": "damaged.vtu"}.get(fault, "mesh.vtu")
                writer.writerow([f"case-{i:06}", mesh, fault, i])
        self.environment = {**os.environ, "KETMESH": str(self.program), "PYTHONDONTWRITEBYTECODE": "1"}

    def _write(self, name: str, content: str | bytes) -> Path:
        path = self.folder / name
        path.write_bytes(content.encode() if isinstance(content, str) else content)
        return path

    def start(self, runs: str, *options: str, **environment: str) -> subprocess.Popen:
        command = [sys.executable, str(COHORT), str(self.cases), str(self.pipeline), "--out", runs, *options]
        return subprocess.Popen(command, cwd=self.folder, env={**self.environment, **environment}, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True)

    def run(self, runs: str, *options: str, **environment: str) -> subprocess.CompletedProcess:
        process = self.start(runs, *options, **environment)
        out, err = process.communicate()
        return subprocess.CompletedProcess(process.args, process.returncode, out, err)

    def record(self, runs: str, case: str) -> dict:
        return json.loads((self.folder / runs / case / "case.json").read_bytes())

    def statuses(self, runs: str) -> dict[str, str]:
        return {row["id"]: row["status"] for row in self.summary(runs)}

    def summary(self, runs: str) -> list[dict]:
        with open(self.folder / runs / "summary.jsonl", encoding="utf-8") as lines:
            return [json.loads(line) for line in lines]

    def stable_summary(self, runs: str) -> tuple:
        """All that must not depend on the workers."""
        rows = [{k: v for k, v in row.items() if k not in VOLATILE} for row in self.summary(runs)]
        with open(self.folder / runs / "summary.csv", newline="") as file:
            table = [{k: v for k, v in row.items() if k not in VOLATILE} for row in csv.DictReader(file)]
        return rows, table, (self.folder / runs / "summary.html").read_bytes()

    def finished(self, runs: str) -> dict[str, tuple]:
        """What tells whether case.json of a case that is done was ever written again."""
        found = {}
        for path in (self.folder / runs).glob("*/case.json"):
            record = json.loads(path.read_bytes())  # appears whole or not at all
            if record["status"] == "done":
                status = path.stat()
                found[path.parent.name] = status.st_ino, status.st_mtime_ns
        return found

    def started(self) -> Counter[tuple[str, str]]:
        """How often each command was started for each case."""
        with contextlib.suppress(FileNotFoundError):
            lines = (self.folder / "ledger").read_text().splitlines()
            return Counter((Path(line.rpartition(" ")[0]).name, line.rpartition(" ")[2]) for line in lines)
        return Counter()

    def processes(self) -> list[int]:
        """Steps of this study that live."""
        mark = f"TMPDIR={self.folder}/".encode()
        found = []
        for name in os.listdir("/proc"):
            with contextlib.suppress(OSError):
                if name.isdigit() and mark in Path(f"/proc/{name}/environ").read_bytes():
                    found.append(int(name))
        return found

    def no_process_stays(self, seconds: float = 60.0) -> bool:
        deadline = time.monotonic() + seconds
        while self.processes() and time.monotonic() < deadline:
            time.sleep(0.05)
        return not self.processes()


def descendants(pid: int) -> list[int]:
    found = [pid]
    for each in found:
        with contextlib.suppress(OSError):
            for thread in os.listdir(f"/proc/{each}/task"):
                found += map(int, Path(f"/proc/{each}/task/{thread}/children").read_text().split())
    return found[1:]


def dask_workers(pid: int) -> list[int]:
    """Worker processes below a driver."""
    def is_worker(each: int) -> bool:
        with contextlib.suppress(OSError):
            return b"spawn_main" in Path(f"/proc/{each}/cmdline").read_bytes()
        return False
    return [each for each in descendants(pid) if is_worker(each)]


def kill_at_random(study: Study, runs: str, options: list[str], kills: int,
                   seconds: tuple[float, float] = (2, 6)) -> Counter[str]:
    """Runs a study to its end although workers and drivers are killed: these so many seconds after their run has finished
    its first case, however slow the machine is. Counts what was done, and asserts that no case that was finished is lost
    or run again."""
    chance = random.Random(1)
    done: Counter[str] = Counter()
    before: dict[str, tuple] = {}
    while True:
        process = study.start(runs, *options)
        last = done["drivers"] + done["workers"] >= kills
        while not last and process.poll() is None and len(study.finished(runs)) <= len(before):
            time.sleep(0.05)
        deadline = time.monotonic() + chance.uniform(*seconds)
        while not last and process.poll() is None and time.monotonic() < deadline:
            time.sleep(chance.uniform(0.1, 0.8))
            workers = dask_workers(process.pid)
            if workers and chance.random() < 0.5:
                os.kill(chance.choice(workers), signal.SIGKILL)
                done["workers"] += 1
        if not last and process.poll() is None:
            process.kill()
            done["drivers"] += 1
        process.communicate()
        now = study.finished(runs)
        for case, stamp in before.items():
            assert now.get(case) == stamp, f"{case} was finished, and lost or run again"
        before = now
        done["runs"] += 1
        if process.returncode in (0, 2):
            assert study.no_process_stays(), "processes of a step outlive the run"
            return done


@contextlib.contextmanager
def external_scheduler(folder: Path, workers: int):
    """The address of a scheduler on loopback; itself and its workers, who know nothing of this package."""
    environment = {k: v for k, v in os.environ.items() if k != "PYTHONPATH"}
    with contextlib.ExitStack() as stack:
        def start(*command: str) -> subprocess.Popen:
            log = stack.enter_context(open(folder / f"{command[0]}.log", "a+"))
            process = subprocess.Popen([sys.executable, "-m", "distributed.cli." + command[0], *command[1:]],
                                       cwd=folder, env=environment, stdout=log, stderr=log)
            stack.callback(process.wait)
            stack.callback(process.kill)
            return process

        scheduler = start("dask_scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard",
                          "--scheduler-file", str(folder / "scheduler.json"))
        deadline = time.monotonic() + 120
        while not (folder / "scheduler.json").exists() and time.monotonic() < deadline:
            time.sleep(0.1)
        address = json.loads((folder / "scheduler.json").read_text())["address"]
        yield address, scheduler, [start("dask_worker", address, "--nthreads", "1", "--no-dashboard", "--no-nanny",
                                         "--local-directory", str(folder / "scratch")) for _ in range(workers)]


LIMITS = ["--timeout", "20", "--memory", "0.4"]


def _mixed(cases: int, every: int = 40) -> list[str]:
    """One case in `every` has a fault, each kind in turn."""
    kinds = [kind for kind, status in EXPECTED.items() if status != "done"]
    return [kinds[i // every % len(kinds)] if i % every == 0 else "none" for i in range(cases)]


def _trial_faults(folder: Path, cases: int) -> None:
    study = Study(folder, _mixed(cases))
    summaries = []
    for workers in ("1", "2", "4"):
        start = time.monotonic()
        ended = study.run(f"runs{workers}", "--workers", workers, *LIMITS)
        assert ended.returncode == 2, ended.stderr
        assert study.statuses(f"runs{workers}") == study.expected
        assert study.no_process_stays()
        summaries.append(study.stable_summary(f"runs{workers}"))
        print(f"{workers} workers: {time.monotonic() - start:.0f} s", flush=True)
    assert summaries[0] == summaries[1] == summaries[2]
    print(f"the same summary for 1, 2 and 4 workers: {dict(Counter(study.expected.values()))}")


def _trial_kills(folder: Path, cases: int) -> None:
    # Faults of files are of a step that is left out here; slow cases are there to be killed.
    faults = [("slow", "none")[i % 3 > 0] if fault in ("none", "missing", "damaged") else fault
              for i, fault in enumerate(_mixed(cases))]
    study = Study(folder, faults, TRIVIAL_PIPELINE)
    options = ["--workers", "2", "--timeout", "5", "--memory", "0.4"]
    done = kill_at_random(study, "runs", options, kills=25, seconds=(4, 9))
    assert study.statuses("runs") == study.expected
    started = study.started()
    counts = Counter(started[case, "fault"] for case, status in study.expected.items() if status == "done")
    print(f"{dict(done)}; starts of the step for cases that are done (starts: cases) {dict(counts)}")


def _trial_many(folder: Path, cases: int) -> None:
    study = Study(folder, ["none"] * cases, TRIVIAL_PIPELINE)
    start = time.monotonic()
    process = study.start("runs", "--workers", str(len(os.sched_getaffinity(0))))
    peak, shown = 0, 0.0
    while process.poll() is None:
        with contextlib.suppress(OSError, AttributeError):
            status = Path(f"/proc/{process.pid}/status").read_text()
            peak, held = (int(re.search(name + r":\s+(\d+)", status)[1]) for name in ("VmHWM", "VmRSS"))
            if time.monotonic() - shown > 30:
                shown = time.monotonic()
                print(f"{shown - start:.0f} s: the driver holds {held / 1000:.0f} MB", flush=True)
        time.sleep(0.5)
    out, err = process.communicate()
    assert process.returncode == 0, err[-2000:]
    seconds = time.monotonic() - start
    print(out + err.splitlines()[-1])
    print(f"{cases / seconds:.0f} cases a second; the driver held at most {peak / 1000:.0f} MB")
    start = time.monotonic()
    assert study.run("runs").returncode == 0
    print(f"nothing to do, and the summary: {time.monotonic() - start:.0f} s")


def _trial_scheduler(folder: Path, cases: int) -> None:
    study = Study(folder, _mixed(cases))
    with external_scheduler(study.folder, 2) as (address, _, workers):
        process = study.start("runs", "--scheduler", address, *LIMITS)
        time.sleep(10)
        workers[0].kill()
        _, err = process.communicate()
    assert process.returncode == 2, err
    assert study.statuses("runs") == study.expected
    print(err.splitlines()[-1])


def main() -> None:
    trials = {"faults": _trial_faults, "kills": _trial_kills, "many": _trial_many, "scheduler": _trial_scheduler}
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("trial", choices=trials)
    parser.add_argument("folder", type=Path, help="a new folder")
    parser.add_argument("--cases", type=int, default=1000)
    options = parser.parse_args()
    trials[options.trial](options.folder, options.cases)


if __name__ == "__main__":
    main()
