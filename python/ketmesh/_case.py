# SPDX-License-Identifier: BSD-3-Clause
"""What holds and loads a model, and what a solver makes of it."""

from __future__ import annotations

import os
from typing import Any

import numpy as np
from numpy.typing import NDArray

from . import _core
from ._kept import ReadOnlyArrays
from ._values import Values


class Case:
    """What holds and loads a model, in the words (TOML) of case files; `ketmesh solve --help` shows them.

    Lengths are in mm, forces in N, pressures in MPa, accelerations in mm/s2. Raises `MeshError` with the line of what
    is wrong.

    Attributes:
        places: the names of the places.
        file: that it was read from; empty for others.

    >>> case = ketmesh.Case('''
    ... [place.base]
    ... axis = "z-"
    ... within = 3
    ... [[fix]]
    ... place = "base"
    ... axes = "xyz"
    ... ''')
    >>> case
    <ketmesh.Case: places 'base'>
    """

    def __init__(self, text: str) -> None:
        self._core = _core.make_case(text)

    @classmethod
    def read(cls, path: str | os.PathLike[str]) -> Case:
        """Reads a .toml file. Raises `MeshFileError`, with the line of what is wrong.

        >>> with open("/tmp/ketmesh-case.toml", "w") as file:
        ...     n = file.write('[place.top]\\naxis = "z+"\\nwithin = 2')
        >>> ketmesh.Case.read("/tmp/ketmesh-case.toml").places
        ['top']
        """
        case = cls.__new__(cls)
        case._core = _core.read_case(os.fspath(path))
        return case

    @property
    def places(self) -> list[str]:
        """The names of the places, in their order."""
        return self._core.places

    @property
    def file(self) -> str:
        """The file that it was read from; empty for others."""
        return self._core.file

    def __repr__(self) -> str:
        file = f"{self.file!r}, " if self.file else ""
        return f"<ketmesh.Case: {file}places {', '.join(map(repr, self.places))}>"


class Result(ReadOnlyArrays):
    """What a solver found. Arrays are read-only and have a row for each node; NaN at nodes without elements.

    Attributes:
        displacement: (n, 3) float64, mm.
        stress: (n, 6) float64, MPa: XX YY ZZ XY YZ XZ.
        strain: (n, 6) float64, in the same order.
        von_mises: (n,) float64, MPa.
        force: (n, 3) float64, N: the solver's own forces at nodes.
        reactions: by place, N: x, y and z of what holds the model.
        applied: N: x, y and z of all loads together.
        balance: the part of the loads that reactions do not balance; None where there is no resulting load.
        report: all figures, with the solver's version and time.
    """

    displacement: NDArray[np.float64]
    stress: NDArray[np.float64]
    strain: NDArray[np.float64]
    von_mises: NDArray[np.float64]
    force: NDArray[np.float64]

    def __init__(self, report: _core.Solve, values: Values) -> None:
        self.displacement = values["displacement"]
        self.stress = values["stress"]
        self.strain = values["strain"]
        self.von_mises = values["von_mises"]
        self.force = values["force"]
        self.reactions: dict[str, NDArray[np.float64]] = {
            place: np.array(force) for place, force in report.reactions.items()
        }
        self.applied: NDArray[np.float64] = np.array(report.applied)
        self.balance: float | None = report.balance
        self.report: Any = report

    def __repr__(self) -> str:
        return (
            f"<ketmesh.Result: {len(self.von_mises)} nodes, up to {self.report.max_displacement:.4g} mm and "
            f"{self.report.max_von_mises:.4g} MPa>"
        )


def as_case(case: Case | str | os.PathLike[str]) -> _core.CaseFile:
    """The case, read where it is a path."""
    return case._core if isinstance(case, Case) else _core.read_case(os.fspath(case))
