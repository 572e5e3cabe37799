# SPDX-License-Identifier: BSD-3-Clause
"""One step: a process of its own, watched until it ends or has to be ended."""

from __future__ import annotations

import json
import os
import select
import shutil
import signal
import subprocess
import threading
import time
from pathlib import Path

# Ended with SIGTERM, the program removes its temporary files; this is how long it may take.
GRACE_SECONDS = 2.0
# A process is looked at soon after its start, then ever more rarely.
FIRST_LOOK, LAST_LOOK = 0.002, 0.05
LARGEST_OUTPUT = 64_000_000  # bytes of standard output, and of standard error
OUT_OF_MEMORY = "there is not enough memory"  # the program's own words
PAGE = os.sysconf("SC_PAGE_SIZE")


def run_step(command: list[str], name: str, folder: Path, environment: dict[str, str], lock: int,
             timeout: float | None, memory: int | None, stop: threading.Event) -> dict:
    """Runs a command in `folder`, which is the case's, with its output in `steps/`.

    Gives status, error (one line), report (the JSON object that it printed), warnings, exit_status, seconds and
    peak_memory in bytes, of all its processes together. The status `stopped` says that `stop` was set. The process
    inherits `lock`, so whoever can take the lock knows that no process of the case is left.
    """
    if not os.access(command[0], os.X_OK):
        return _ended("failed", f"there is no program {command[0]} on this machine", seconds=0.0, peak_memory=0)
    start = time.monotonic()
    logs = folder / "steps"
    with open(logs / f"{name}.json", "wb") as out, open(logs / f"{name}.log", "wb") as err:
        process = subprocess.Popen(
            [*_dies_with_its_parent(), *command], cwd=folder, env=environment, stdin=subprocess.DEVNULL, stdout=out,
            stderr=err, start_new_session=True, pass_fds=(lock,))
        try:
            reason, peak = _watch(process, start, timeout, memory, stop, (out.fileno(), err.fileno()))
        finally:
            _end(process)
    ended = _judge(process.returncode, reason, timeout, memory, logs / name)
    return {**ended, "seconds": round(time.monotonic() - start, 3), "peak_memory": peak}


def _dies_with_its_parent() -> list[str]:
    """Words before a command that end it when whoever started it is killed."""
    tool = shutil.which("setpriv")
    return [tool, "--pdeathsig", "KILL", "--"] if tool else []


def _watch(process: subprocess.Popen, start: float, timeout: float | None, memory: int | None, stop: threading.Event,
           outputs: tuple[int, int]) -> tuple[str, int]:
    """Waits until the process ends or must be ended, and says why: "", timeout, out-of-memory, output or stopped."""
    peak = 0
    wait = FIRST_LOOK
    handle = os.pidfd_open(process.pid)
    try:
        poll = select.poll()
        poll.register(handle, select.POLLIN)
        while not poll.poll(wait * 1000):
            wait = min(wait * 1.5, LAST_LOOK)
            peak = max(peak, memory_of(process.pid))
            if stop.is_set():
                _ask_to_end(process, poll)
                return "stopped", peak
            if memory is not None and peak > memory:
                return "out-of-memory", peak
            if timeout is not None and time.monotonic() - start > timeout:
                _ask_to_end(process, poll)
                return "timeout", peak
            if max(os.fstat(file).st_size for file in outputs) > LARGEST_OUTPUT:
                return "output", peak
        return "", peak
    finally:
        os.close(handle)


def _ask_to_end(process: subprocess.Popen, poll: select.poll) -> None:
    os.killpg(process.pid, signal.SIGTERM)
    poll.poll(GRACE_SECONDS * 1000)


def _end(process: subprocess.Popen) -> None:
    """Ends what is left of the process and its group. Its number is taken until wait() returns, so none else is hit."""
    if process.returncode is None:
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except (ProcessLookupError, PermissionError):
            pass
    process.wait()


def memory_of(pid: int) -> int:
    """Bytes that a process and its descendants hold in memory, or the process alone has held at once, if more."""
    total, pids = 0, [pid]
    for each in pids:
        try:
            with open(f"/proc/{each}/statm", "rb") as file:
                total += int(file.read().split()[1]) * PAGE
            for thread in os.listdir(f"/proc/{each}/task"):
                with open(f"/proc/{each}/task/{thread}/children", "rb") as file:
                    pids.extend(int(child) for child in file.read().split())
        except (OSError, IndexError):
            continue  # it has ended
    return max(total, _high_water(pid))


def _high_water(pid: int) -> int:
    try:
        with open(f"/proc/{pid}/status", "rb") as file:
            for line in file:
                if line.startswith(b"VmHWM:"):
                    return int(line.split()[1]) * 1024
    except OSError:
        pass
    return 0


def _ended(status: str, error: str = "", **others) -> dict:
    return {"status": status, "error": error, "report": None, "warnings": [], "exit_status": None, **others}


def _judge(code: int, reason: str, timeout: float | None, memory: int | None, log: Path) -> dict:
    report = None if reason else _read_report(log.with_name(log.name + ".json"))
    found = _ended("done", report=report)
    found["exit_status"] = code if code >= 0 else None
    found["warnings"] = [w for w in (report or {}).get("warnings") or [] if isinstance(w, str)]
    if reason == "timeout":
        return {**found, "status": "timeout", "error": f"not done after {timeout:g} s"}
    if reason == "out-of-memory":
        return {**found, "status": "out-of-memory", "error": f"took more than {memory / 1e9:g} GB of memory"}
    if reason == "output":
        return {**found, "status": "failed", "error": f"printed more than {LARGEST_OUTPUT // 1_000_000} MB"}
    if reason == "stopped":
        return {**found, "status": "stopped"}
    if code < 0:
        return {**found, "status": "crashed", "error": f"ended by {_signal_name(-code)}"}
    if code == 0 and report is None:
        return {**found, "status": "failed", "error": "printed no JSON object"}
    if code == 0:
        return found
    error = _error_line(report, log.with_name(log.name + ".log")) or f"exit status {code}"
    status = "refused" if code == 1 else "failed"
    return {**found, "status": "out-of-memory" if code == 1 and error == OUT_OF_MEMORY else status, "error": error}


def _signal_name(number: int) -> str:
    hint = ", which the system sends when memory runs out" if number == signal.SIGKILL else ""
    try:
        return signal.Signals(number).name + hint
    except ValueError:
        return f"signal {number}"


def _read_report(path: Path) -> dict | None:
    try:
        report = json.loads(path.read_bytes(), parse_constant=lambda _: None)
    except (ValueError, RecursionError, OSError):
        return None
    return report if isinstance(report, dict) else None


def _error_line(report: dict | None, log: Path) -> str:
    """The line by which the program says what failed."""
    error = (report or {}).get("error")
    if not isinstance(error, str):
        with open(log, "rb") as file:
            file.seek(max(0, os.fstat(file.fileno()).st_size - 10_000))
            lines = file.read().decode(errors="replace").splitlines()
        lines = [line for line in lines if line.strip() and not line.startswith("ketmesh: warning:")]
        error = lines[-1].removeprefix("ketmesh: ") if lines else ""
    return " ".join(error.split())[:1000]
