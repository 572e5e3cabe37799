# SPDX-License-Identifier: BSD-3-Clause
"""What is wrong with what the user gave."""


class Fault(Exception):
    """One fault or several, each told in one line that names the file and what would be right."""

    def __init__(self, *lines: str):
        super().__init__(*lines)
        self.lines = lines


class Faults:
    """Collects the faults of a file, so that one run tells all of them."""

    SHOWN = 20

    def __init__(self) -> None:
        self._lines: list[str] = []
        self._count = 0

    def add(self, line: str) -> None:
        self._count += 1
        if self._count <= self.SHOWN:
            self._lines.append(line)

    def raise_any(self) -> None:
        """Throws Fault when there is one."""
        more = self._count - len(self._lines)
        if self._count:
            raise Fault(*self._lines, *([f"and {more} more faults"] if more else []))
