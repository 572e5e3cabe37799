"""Triangulated surfaces."""

from __future__ import annotations

import os
from collections.abc import Iterator, Mapping
from functools import cached_property
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _core


class Surface:
    """A triangulated surface.

    Attributes:
        name: as the sub-volumes that it bounds give it.
        points: (n, 3) float64, mm.
        triangles: (t, 3) int64, indices of points.
        area: mm2.
        closed: whether every edge lies in exactly two triangles.
        elements: (t,) number of the element of the mesh that each triangle is a face of, from 0; -1 for none.
            None where the surface was not made from a mesh.
        faces: (t,) number of that face as solvers count them, from 1; 0 for none. None as above.
        nodes: (n,) number of the node of the mesh at each point, from 0; -1 for none. None as above.
        report: what the job that made the surface has to say; None for other surfaces.

    >>> corner = Surface([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]], name="corner")
    >>> corner.area
    0.5
    """

    def __init__(self, points: ArrayLike, triangles: ArrayLike, name: str = "") -> None:
        self._take(_core.make_surface(np.asarray(points), np.asarray(triangles), name, "mm"))

    def _take(self, core: _core.SurfaceModel, report: Any = None) -> None:
        arrays = _core.surface_arrays(core)
        self._core = core
        self.report = report
        self.points: NDArray[np.float64] = arrays["points"]
        self.triangles: NDArray[np.int64] = arrays["triangles"]
        self.name: str = arrays["names"][0] if len(arrays["names"]) == 1 else ""
        self.area: float = sum(r.area for r in arrays["reports"])
        self.closed: bool = bool(arrays["reports"]) and all(r.closed for r in arrays["reports"])
        self._take_origins(arrays["cell_data"], arrays["point_data"])

    def _take_origins(self, cell_data: Mapping[str, NDArray[Any]], point_data: Mapping[str, NDArray[Any]]) -> None:
        self.elements = _from_zero(cell_data.get("element"))
        self.faces = cell_data.get("face")
        self.nodes = _from_zero(point_data.get("node"))
        self.cell_data = {name: a for name, a in cell_data.items() if name not in ("element", "face")}
        self.point_data = {name: a for name, a in point_data.items() if name != "node"}

    def __repr__(self) -> str:
        state = "closed" if self.closed else "open"
        return f"<ketmesh.Surface {self.name!r}: {len(self.triangles)} triangles, {self.area:.6g} mm2, {state}>"

    def save(self, path: str | os.PathLike[str], unit: str = "mm") -> None:
        """Writes a .vtp, .stl, .ply or .obj file. Raises `MeshFileError`."""
        _core.save_surface(self._core, os.fspath(path), unit)


class Surfaces(Mapping[str, Surface]):
    """Several surfaces by name, in their order."""

    def __init__(self, core: _core.SurfaceModel) -> None:
        self._core = core

    @cached_property
    def _by_name(self) -> dict[str, Surface]:
        arrays = _core.surface_arrays(self._core)
        return {name: _part(arrays, i) for i, name in enumerate(arrays["names"])}

    def __getitem__(self, name: str) -> Surface:
        return self._by_name[name]

    def __iter__(self) -> Iterator[str]:
        return iter(self._by_name)

    def __len__(self) -> int:
        return len(self._by_name)

    def __repr__(self) -> str:
        return f"<ketmesh.Surfaces: {', '.join(repr(name) for name in self)}>"

    def save(self, path: str | os.PathLike[str], unit: str = "mm") -> None:
        """Writes all of them to one .vtp, .stl, .ply or .obj file. Raises `MeshFileError`."""
        _core.save_surface(self._core, os.fspath(path), unit)


def read_surface(path: str | os.PathLike[str], unit: str = "mm") -> Surface:
    """Reads a .vtp, .stl, .ply or .obj file. Raises `MeshFileError`."""
    return wrap(_core.read_surface(os.fspath(path), unit))


def wrap(core: _core.SurfaceModel, report: Any = None) -> Surface:
    """A surface that the library made."""
    surface = Surface.__new__(Surface)
    surface._take(core, report)
    return surface


def as_surface(surface: Surface | Surfaces | str | os.PathLike[str]) -> _core.SurfaceModel:
    """The surface, read where it is a path."""
    return surface._core if isinstance(surface, (Surface, Surfaces)) else read_surface(surface)._core


def _from_zero(ids: NDArray[Any] | None) -> NDArray[Any] | None:
    return None if ids is None else ids - 1


def _part(arrays: dict[str, Any], index: int) -> Surface:
    """One of several surfaces, with the points that it uses."""
    own = arrays["surface"] == index
    used, triangles = np.unique(arrays["triangles"][own], return_inverse=True)
    report = arrays["reports"][index]
    part = Surface.__new__(Surface)
    part.name, part.area, part.closed, part.report = report.name, report.area, report.closed, None
    part.points = arrays["points"][used]
    part.triangles = triangles.reshape(-1, 3).astype(np.int64)
    part._take_origins(
        {name: a[own] for name, a in arrays["cell_data"].items()},
        {name: a[used] for name, a in arrays["point_data"].items()},
    )
    part._core = _core.make_surface(part.points, part.triangles, part.name, "mm")
    return part
