# SPDX-License-Identifier: BSD-3-Clause
"""One case: its folder, its lock, its steps, and case.json, whose appearance says that the case is finished."""

from __future__ import annotations

import contextlib
import fcntl
import json
import os
import shutil
import signal
import socket
import threading
import time
import uuid
from pathlib import Path

from .inputs import Unknown, are_unchanged, fingerprint
from .step import run_step

# What another try may mend; the program's own answers stay what they are.
WORTH_ANOTHER_TRY = ("crashed", "timeout", "out-of-memory")
LOCK = ".lock"
NEEDED = {"status", "key", "error", "steps", "warnings"}  # in a record that says anything
TOKEN = "KETMESH_COHORT_RUN"  # in the environment of a step's processes


class Stopped(Exception):
    """The run was cancelled while the case waited or ran."""


def read_record(folder: Path) -> dict | None:
    """What case.json says; nothing where it is not there or not whole."""
    try:
        record = json.loads((folder / "case.json").read_bytes())
    except (OSError, ValueError):
        return None
    return record if isinstance(record, dict) and record.keys() >= NEEDED else None


def is_current(record: dict, task: dict, may_read: bool = False) -> bool:
    """Whether a record stands on the inputs, steps and version of the task. In doubt it does not, unless files may be
    read."""
    try:
        key, _ = fingerprint(task["version"], task["steps"], record.get("inputs", []), may_read)
    except Unknown:
        return False
    return key == record["key"]


def run_case(task: dict, stop: threading.Event) -> dict:
    """Brings one case to its end, and gives its id, status and error.

    The task has id, folder, program, version, steps (of pipeline.expand), timeout, memory (bytes), retries and cores.
    A case that is done under the same key stays as it is. Throws Stopped, and OSError when the folder cannot be used.
    """
    folder = Path(task["folder"])
    folder.mkdir(parents=True, exist_ok=True)
    token = uuid.uuid4().hex
    with _locked(folder, token, stop) as lock:
        old = read_record(folder)
        key, inputs = fingerprint(task["version"], task["steps"], (old or {}).get("inputs", []))
        if old and old["status"] == "done" and old["key"] == key:
            if old.get("inputs") != inputs:  # the same contents in files that were touched
                _commit(folder, {**old, "inputs": inputs})
            return {"id": task["id"], "status": "done", "error": ""}
        record = {"id": task["id"], "status": "", "error": "", "step": None}
        for attempt in range(1, task["retries"] + 2):
            record = _attempt(task, folder, lock, token, stop)
            record.update(attempts=attempt, key=key, version=task["version"], inputs=inputs)
            if record["status"] not in WORTH_ANOTHER_TRY:
                break
        if record["status"] == "done" and not are_unchanged(inputs):
            record.update(status="failed", error="an input changed while the case ran: run it again")
        _commit(folder, record)
        return {"id": task["id"], "status": record["status"], "error": record["error"]}


def record_lost(task: dict, error: str) -> dict:
    """Records a case as crashed that took its workers along, which is nothing that its own run could do."""
    folder = Path(task["folder"])
    folder.mkdir(parents=True, exist_ok=True)
    with _locked(folder, uuid.uuid4().hex, threading.Event()):
        key, inputs = fingerprint(task["version"], task["steps"])
        record = {"id": task["id"], "status": "crashed", "step": None, "error": error, "steps": {}, "runs": {},
                  "warnings": [], "seconds": 0.0, "peak_memory": 0, "pages": [], "attempts": 1}
        _commit(folder, {**record, "key": key, "version": task["version"], "inputs": inputs})
    return {"id": task["id"], "status": "crashed", "error": error}


def _attempt(task: dict, folder: Path, lock: int, token: str, stop: threading.Event) -> dict:
    """Runs the steps from the first in an empty folder, up to the first that is not done."""
    _empty(folder)
    temporary = folder / "tmp"
    temporary.mkdir()
    (folder / "steps").mkdir()
    environment = {**os.environ, "TMPDIR": str(temporary), TOKEN: token}
    if task.get("cores"):
        os.sched_setaffinity(0, task["cores"])  # of this thread, and of the processes that it starts
    record: dict = {"id": task["id"], "status": "done", "step": None, "error": "", "steps": {}, "runs": {},
                    "warnings": [], "seconds": 0.0, "peak_memory": 0}
    start = time.monotonic()
    for step in task["steps"]:
        words = [word if isinstance(word, str) else word["option"] + word["path"] for word in step["words"]]
        command = [task["program"], *words, *([] if "--json" in words else ["--json"])]
        ended = run_step(command, step["name"], folder, environment, lock, task["timeout"], task["memory"], stop)
        if ended["status"] == "stopped":
            raise Stopped
        _add_step(record, step["name"], ["ketmesh", *command[1:]], ended)
        if record["status"] != "done":
            break
    shutil.rmtree(temporary, ignore_errors=True)
    record["seconds"] = round(time.monotonic() - start, 3)
    record["pages"] = sorted(page.name for page in folder.glob("*.html") if page.is_file())
    return record


def _add_step(record: dict, name: str, command: list[str], ended: dict) -> None:
    if ended["report"] is not None:
        record["steps"][name] = ended["report"]
    record["runs"][name] = {"command": command, **{k: ended[k] for k in ("exit_status", "seconds", "peak_memory")}}
    record["warnings"] += [f"{name}: {warning}" for warning in ended["warnings"]]
    record["peak_memory"] = max(record["peak_memory"], ended["peak_memory"])
    if ended["status"] != "done":
        record.update(status=ended["status"], step=name, error=ended["error"])


def _empty(folder: Path) -> None:
    """Removes what an earlier run has left. case.json goes first: it never speaks of files that are not there."""
    (folder / "case.json").unlink(missing_ok=True)
    for entry in list(os.scandir(folder)):
        if entry.is_dir(follow_symlinks=False):
            shutil.rmtree(entry.path)
        elif entry.name != LOCK:
            os.unlink(entry.path)


def _commit(folder: Path, record: dict) -> None:
    """Lets case.json appear: its bytes are on the disk before it has its name."""
    beside = folder / "case.json.new"
    with open(beside, "w", encoding="utf-8") as file:
        json.dump(record, file, indent=1, ensure_ascii=False)
        file.write("\n")
        file.flush()
        os.fsync(file.fileno())
    os.replace(beside, folder / "case.json")


@contextlib.contextmanager
def _locked(folder: Path, token: str, stop: threading.Event):
    """Holds the lock of a case, which its processes inherit. Whoever holds it may use the folder.

    While another worker runs the case, this waits; processes that a killed worker has left are ended.
    """
    lock = os.open(folder / LOCK, os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o644)
    try:
        while not _try_lock(lock):
            _end_orphans(lock)
            if stop.wait(0.1):
                raise Stopped
        os.ftruncate(lock, 0)
        holder = {"host": socket.gethostname(), "pid": os.getpid(), "start": _start_of(os.getpid()), "token": token}
        os.pwrite(lock, json.dumps(holder).encode(), 0)
        yield lock
        fcntl.flock(lock, fcntl.LOCK_UN)  # also where a process has outlived its step
    finally:
        os.close(lock)


def _try_lock(lock: int) -> bool:
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        return True
    except BlockingIOError:
        return False


def _end_orphans(lock: int) -> None:
    """Ends the processes of a run whose worker is gone from this machine. They are known by their environment."""
    try:
        holder = json.loads(os.pread(lock, 4096, 0))
        if holder["host"] != socket.gethostname() or _start_of(holder["pid"]) == holder["start"]:
            return
        mark = f"{TOKEN}={holder['token']}".encode()
    except (ValueError, KeyError, TypeError):
        return  # it is just being written
    for name in os.listdir("/proc"):
        with contextlib.suppress(OSError):
            if name.isdigit() and mark in Path(f"/proc/{name}/environ").read_bytes().split(b"\0"):
                os.kill(int(name), signal.SIGKILL)


def _start_of(pid: int) -> str:
    """When a process started, in ticks since the machine did; empty when it has ended."""
    try:
        fields = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    except OSError:
        return ""
    return "" if fields[0] in "ZX" else fields[19]
