# SPDX-License-Identifier: BSD-3-Clause
"""How long jobs take."""

from __future__ import annotations

import resource

from . import _core


def _peak_memory() -> int:
    """Bytes. The system's usual answer may be that of the process which started this one."""
    try:
        with open("/proc/self/status", "rb") as file:
            return next(1024 * int(line.split()[1]) for line in file if line.startswith(b"VmHWM:"))
    except (OSError, StopIteration):
        return 1024 * resource.getrusage(resource.RUSAGE_SELF).ru_maxrss


class Timing:
    """Seconds that the jobs inside a `with` block took, as `ketmesh --timing` tells them, and the memory.

    Times of jobs that other threads run meanwhile count as well.

    Attributes:
        read: seconds of reading files.
        work: seconds of everything else that jobs do.
        write: seconds of writing files.
        peak_memory: bytes; the most that the process has ever had in memory, with all that is not ketmesh's.

    >>> with ketmesh.Timing() as timing:
    ...     volume = ketmesh.read("head_small_tet4.vtu").quality("Volume").sum()
    >>> timing.read > 0 and timing.work > 0 and timing.write == 0
    True
    """

    def __init__(self) -> None:
        self.read = self.work = self.write = 0.0
        self.peak_memory = 0

    def __enter__(self) -> Timing:
        self._before = _core.times()
        return self

    def __exit__(self, *_: object) -> None:
        self.read, self.work, self.write = (now - then for now, then in zip(_core.times(), self._before))
        self.peak_memory = _peak_memory()

    def __repr__(self) -> str:
        return (
            f"<ketmesh.Timing: {self.read:.3g} s reading, {self.work:.3g} s working, {self.write:.3g} s writing, "
            f"{self.peak_memory / 1e6:.0f} MB at most>"
        )
