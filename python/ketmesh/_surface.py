# SPDX-License-Identifier: BSD-3-Clause
"""Triangulated surfaces."""

from __future__ import annotations

import os
from collections.abc import Iterator, Mapping
from functools import cached_property
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _core
from ._arrays import unmasked
from ._kept import ReadOnlyArrays

# What a surface takes from the library when it is asked for.
TAKEN = ("name", "points", "triangles", "elements", "faces", "nodes", "cell_data", "point_data", "frame")


class Surface(ReadOnlyArrays):
    """A triangulated surface. Its arrays are read-only.

    Args:
        points: (n, 3) numbers, in the unit. Those at one position become one.
        triangles: (t, 3) indices of points. Those that collapse are dropped.
        name: of the surface.
        unit: of the points, "m", "mm" or "um".
        frame: of the points, "RAS" or "LPS"; None for one that is not known.

    Raises `ValueError` or `TypeError` for arrays of another shape or type or with masked values, `MeshError` for
    numbers that make no surface.

    Attributes:
        name: as the sub-volumes that it bounds give it.
        points: (n, 3) float64, mm.
        triangles: (t, 3) int64, indices of points.
        elements: (t,) number of the element of the mesh that each triangle is a face of, from 0; -1 for none.
            None where the surface was not made from a mesh.
        faces: (t,) number of that face as solvers count them, from 1; 0 for none. None as above.
        nodes: (n,) number of the node of the mesh at each point, from 0; -1 for none. None as above.
        cell_data, point_data: other arrays by name, with a row for each triangle or point.
        frame: where x and y point in the body, "RAS", "LPS" or None.
        report: what the job that made the surface has to say; None for other surfaces.

    >>> corner = ketmesh.Surface([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]], name="corner")
    >>> corner.area
    0.5
    """

    name: str
    points: NDArray[np.float64]
    triangles: NDArray[np.int64]
    elements: NDArray[Any] | None
    faces: NDArray[Any] | None
    nodes: NDArray[Any] | None
    cell_data: dict[str, NDArray[Any]]
    point_data: dict[str, NDArray[Any]]
    frame: str | None
    report: Any
    _made: _core.SurfaceModel | None

    def __init__(
        self, points: ArrayLike, triangles: ArrayLike, name: str = "", unit: str = "mm", frame: str | None = None
    ) -> None:
        corners = np.asarray(unmasked(points, "the array of points"))
        indices = np.asarray(unmasked(triangles, "the array of triangles"))
        self._take(_core.make_surface(corners, indices, name, unit, frame))

    def _take(self, core: _core.SurfaceModel, report: Any = None) -> None:
        self._made = core
        self.report = report

    def __getattr__(self, name: str) -> Any:
        """The attributes that are not there yet: all come from the library when the first of them is asked for."""
        if name not in TAKEN or self._made is None:
            raise AttributeError(f"a surface has no {name!r}")
        arrays = _core.surface_arrays(self._made)
        self.points, self.triangles = arrays["points"], arrays["triangles"]
        self.name = arrays["names"][0] if len(arrays["names"]) == 1 else ""
        self.frame = arrays["frame"]
        self._take_origins(arrays["cell_data"], arrays["point_data"])
        return self.__dict__[name]

    def __dir__(self) -> list[str]:
        return sorted({*super().__dir__(), *TAKEN})

    @cached_property
    def _reports(self) -> list[_core.SurfaceReport]:
        return _core.surface_reports(self._handle)

    @property
    def area(self) -> float:
        """mm2.

        >>> ketmesh.Surface([[0, 0, 0], [2, 0, 0], [0, 1, 0]], [[0, 1, 2]]).area
        1.0
        """
        return sum(report.area for report in self._reports)

    @property
    def closed(self) -> bool:
        """Whether every edge lies in exactly two triangles.

        >>> ketmesh.read("head_small_tet4.vtu").boundary().closed
        True
        """
        return bool(self._reports) and all(report.closed for report in self._reports)

    @property
    def _handle(self) -> _core.SurfaceModel:
        """What the library holds of it: one of several surfaces is made when a job needs it."""
        if self._made is None:
            self._made = _core.make_surface(self.points, self.triangles, self.name, "mm", self.frame)
        return self._made

    def _take_origins(self, cell_data: Mapping[str, NDArray[Any]], point_data: Mapping[str, NDArray[Any]]) -> None:
        self.elements = _from_zero(cell_data.get("element"))
        self.faces = cell_data.get("face")
        self.nodes = _from_zero(point_data.get("node"))
        self.cell_data = {name: a for name, a in cell_data.items() if name not in ("element", "face")}
        self.point_data = {name: a for name, a in point_data.items() if name != "node"}

    def __repr__(self) -> str:
        state = "closed" if self.closed else "open"
        return f"<ketmesh.Surface {self.name!r}: {len(self.triangles)} triangles, {self.area:.6g} mm2, {state}>"

    def save(self, path: str | os.PathLike[str], unit: str = "mm", *, ascii: bool = False) -> None:
        """Writes a .vtp, .stl, .ply or .obj file; .stl in text if `ascii`. Raises `MeshFileError`.

        >>> ketmesh.read("head_small_tet4.vtu").boundary().save("/tmp/ketmesh-skin.stl")
        """
        _core.save_surface(self._handle, os.fspath(path), unit, False, False, ascii)


class Surfaces(Mapping[str, Surface]):
    """Several surfaces by name, in their order; `report` is what the job that made them has to say.

    >>> surfaces = ketmesh.read("head_small_tet4.vtu").surfaces(interfaces=True)
    >>> surfaces["Label 1-"].closed
    False
    """

    def __init__(self, core: _core.SurfaceModel, report: Any = None) -> None:
        self._handle = core
        self.report = report

    @cached_property
    def _by_name(self) -> dict[str, Surface]:
        arrays = _core.surface_arrays(self._handle)
        reports = self.report.surfaces if self.report else _core.surface_reports(self._handle)
        return {name: _part(arrays, i, reports[i]) for i, name in enumerate(arrays["names"])}

    def __getitem__(self, name: str) -> Surface:
        return self._by_name[name]

    def __iter__(self) -> Iterator[str]:
        return iter(self._by_name)

    def __len__(self) -> int:
        return len(self._by_name)

    def __repr__(self) -> str:
        return f"<ketmesh.Surfaces: {', '.join(repr(name) for name in self)}>"

    def save(
        self,
        path: str | os.PathLike[str],
        unit: str = "mm",
        *,
        split: bool = False,
        ascii: bool = False,
        allow_empty: bool = False,
    ) -> list[str]:
        """Writes all of them to one .vtp, .stl, .ply or .obj file; the paths that were written.

        With `split` each has a file of its own, `<path>-<name>` with the ending of the path. With `ascii` a .stl file
        is written in text, with a solid for each surface under its name. Raises `MeshFileError`, also for surfaces
        without a triangle unless `allow_empty`.

        >>> ketmesh.read("head_small_tet4.vtu").surfaces().save("/tmp/ketmesh-head.vtp")
        ['/tmp/ketmesh-head.vtp']
        """
        return _core.save_surface(self._handle, os.fspath(path), unit, split, allow_empty, ascii)


def read_surface(path: str | os.PathLike[str], unit: str = "mm", frame: str | None = None) -> Surface:
    """Reads a .vtp, .stl, .ply or .obj file of that unit. Raises `MeshFileError`.

    `frame` is that of its coordinates, "RAS" or "LPS", where the file does not say it.

    >>> ketmesh.read("head_small_tet4.vtu").boundary().save("/tmp/ketmesh-skin.stl")
    >>> ketmesh.read_surface("/tmp/ketmesh-skin.stl").closed
    True
    """
    return wrap(_core.read_surface(os.fspath(path), unit, frame))


def wrap(core: _core.SurfaceModel, report: Any = None) -> Surface:
    """A surface that the library made."""
    surface = Surface.__new__(Surface)
    surface._take(core, report)
    return surface


def as_surface(surface: Surface | Surfaces | str | os.PathLike[str]) -> _core.SurfaceModel:
    """The surface, read where it is a path."""
    return surface._handle if isinstance(surface, (Surface, Surfaces)) else _core.read_surface(os.fspath(surface), "mm", None)


def _from_zero(ids: NDArray[Any] | None) -> NDArray[Any] | None:
    return None if ids is None else _read_only(ids - 1)


def _part(arrays: dict[str, Any], index: int, report: _core.SurfaceReport) -> Surface:
    """One of several surfaces, with the points that it uses."""
    own = arrays["surface"] == index
    corners = arrays["triangles"][own]
    is_used = np.zeros(len(arrays["points"]), bool)
    is_used[corners] = True
    number_of = np.cumsum(is_used) - 1
    part = Surface.__new__(Surface)
    part.name, part._reports, part.report = report.name, [report], None
    part._made = None
    part.frame = arrays["frame"]
    part.points = _read_only(arrays["points"][is_used])
    part.triangles = _read_only(number_of[corners])
    part._take_origins(
        {name: _read_only(a[own]) for name, a in arrays["cell_data"].items()},
        {name: _read_only(a[is_used]) for name, a in arrays["point_data"].items()},
    )
    return part


def _read_only(array: NDArray[Any]) -> NDArray[Any]:
    array.flags.writeable = False
    return array
