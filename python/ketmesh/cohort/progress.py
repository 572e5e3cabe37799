# SPDX-License-Identifier: BSD-3-Clause
"""How far a run is: a line that changes on a terminal, a log elsewhere."""

from __future__ import annotations

import sys
import threading
import time
from collections import Counter


class Progress:
    """Counts finished cases. On a terminal one line is kept up to date; elsewhere each case that is not done gets a
    line, and from time to time there is one of counts."""

    LOG_SECONDS = 30.0
    TERMINAL_SECONDS = 0.5

    def __init__(self, total: int, stream=None):
        self._stream = stream or sys.stderr
        self._total = total
        self._terminal = self._stream.isatty()
        self._counts: Counter[str] = Counter()
        self._skipped = 0
        self._ran = 0
        self._start = time.monotonic()
        self._lock = threading.Lock()
        self._end = threading.Event()
        self._ticker = threading.Thread(target=self._tick, daemon=True)

    def __enter__(self) -> Progress:
        self._ticker.start()
        return self

    def __exit__(self, *_) -> None:
        self._end.set()
        self._ticker.join()
        with self._lock:
            if self._terminal:
                self._write("\r\x1b[K")
            if self._ran or self._skipped:
                self._write(self.line() + "\n")

    def skip(self) -> None:
        """A case that an earlier run has done."""
        with self._lock:
            self._skipped += 1

    def finish(self, case_id: str, status: str, error: str) -> None:
        with self._lock:
            self._counts[status] += 1
            self._ran += 1
            if status != "done":
                self._say(f"{case_id}: {status}{': ' + error if error else ''}")

    def line(self) -> str:
        """Done, failed, rate and time left."""
        done = self._counts["done"] + self._skipped
        failed = self._ran - self._counts["done"]
        text = f"{done} of {self._total} done"
        if self._skipped:
            text += f" ({self._skipped} earlier)"
        text += f", {failed} failed" if failed else ""
        seconds = time.monotonic() - self._start
        if self._ran and seconds > 0.01:
            rate = self._ran / seconds
            left = self._total - done - failed
            text += f", {_rate(rate)}" + (f", {_duration(left / rate)} left" if left else "")
        return text

    def _say(self, line: str) -> None:
        self._write(("\r\x1b[K" if self._terminal else "") + f"ketmesh.cohort: {_printable(line)}\n")

    def _write(self, text: str) -> None:
        try:
            self._stream.write(text)
            self._stream.flush()
        except (OSError, ValueError):
            pass  # nobody reads it any more; the run goes on

    def _tick(self) -> None:
        while not self._end.wait(self.TERMINAL_SECONDS if self._terminal else self.LOG_SECONDS):
            with self._lock:
                self._write(f"\r{self.line()}\x1b[K" if self._terminal else self.line() + "\n")


def _printable(text: str) -> str:
    return "".join(c if c.isprintable() else "\N{REPLACEMENT CHARACTER}" for c in text)


def _rate(per_second: float) -> str:
    if per_second >= 1:
        return f"{per_second:.1f} cases a second"
    if per_second * 60 >= 1:
        return f"{per_second * 60:.1f} cases a minute"
    return f"{per_second * 3600:.1f} cases an hour"


def _duration(seconds: float) -> str:
    minutes, seconds = divmod(int(seconds), 60)
    hours, minutes = divmod(minutes, 60)
    days, hours = divmod(hours, 24)
    if days:
        return f"{days} d {hours} h"
    return f"{hours}:{minutes:02}:{seconds:02}" if hours else f"{minutes}:{seconds:02}"
