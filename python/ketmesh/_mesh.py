"""Volume meshes."""

from __future__ import annotations

import os
from collections.abc import Mapping, Sequence
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _core, _exchange
from ._image import Image, as_image
from ._surface import Surface, Surfaces, as_surface, wrap
from ._values import Values

# Numbers of nodes by kind of element.
NODES = {"tet4": 4, "tet10": 10, "hex8": 8, "wedge6": 6}

Path = str | os.PathLike[str]
SurfaceLike = Surface | Surfaces | Path


class Mesh:
    """A volume mesh with its sub-volumes, materials and values.

    Elements and nodes are numbered from 0.

    Args:
        points: (n, 3) numbers, in the unit.
        cells: for each kind ("tet4", "tet10", "hex8", "wedge6") an (m, k) array of indices of points, in VTK's
            order of nodes. The elements are those of the first kind, then of the next.
        cell_data: arrays with a row for each element. `subvolume` and `label` make sub-volumes, `grey` and
            `material` mean what they mean in files.
        point_data: arrays with a row for each point.
        labels: the array of `cell_data` whose whole numbers become the sub-volumes.
        subvolume_names: by number in the array `subvolume`.
        unit: of the points, "m", "mm" or "um".

    Raises `ValueError` or `TypeError` for arrays of another shape or type, `MeshError` for numbers that make no mesh.

    >>> mesh = Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]], {"tet4": [[0, 1, 2, 3]]})
    >>> round(mesh.volume, 12)
    0.166666666667
    """

    def __init__(
        self,
        points: ArrayLike,
        cells: Mapping[str, ArrayLike],
        cell_data: Mapping[str, ArrayLike] | None = None,
        point_data: Mapping[str, ArrayLike] | None = None,
        *,
        labels: str = "",
        subvolume_names: Sequence[str] = (),
        unit: str = "mm",
    ) -> None:
        for kind in cells:
            if kind not in NODES:
                raise ValueError(f"there are no elements of kind {kind!r}; the kinds are {', '.join(NODES)}")
        blocks = [(NODES[kind], np.asarray(indices)) for kind, indices in cells.items()]
        self._core = _core.make(
            np.asarray(points),
            blocks,
            dict(cell_data or {}),
            dict(point_data or {}),
            list(subvolume_names),
            labels,
            unit,
        )
        self.report: Any = None

    # --- What it holds ----------------------------------------------------------------------------------

    @property
    def points(self) -> NDArray[np.float64]:
        """(n, 3) float64, mm: the positions of the nodes, rounded to 2^-16 mm. A read-only copy."""
        return _core.points(self._core)

    @property
    def cells(self) -> dict[str, NDArray[np.int64]]:
        """For each kind that there is an (m, k) int64 array of node numbers, in VTK's order. Read-only copies."""
        return _core.cells(self._core)

    @property
    def cell_data(self) -> Values:
        """The arrays with a row for each element.

        >>> mesh = read("head_small_tet4.vtu")
        >>> mesh.cell_data["size"] = mesh.quality("Volume") ** (1 / 3)
        >>> "size" in mesh.cell_data
        True
        """
        return Values(self._core, _core.ON_ELEMENTS)

    @property
    def point_data(self) -> Values:
        """The arrays with a row for each node."""
        return Values(self._core, _core.ON_NODES)

    @property
    def subvolumes(self) -> list[_core.SubVolume]:
        """The sub-volumes with `number`, `name`, `elements` and `volume` (mm3, signed)."""
        return self.info().subvolumes

    @property
    def subvolume_ids(self) -> NDArray[np.int32]:
        """(m,) int32: the number of the sub-volume of each element; -1 for one in none."""
        return _core.subvolume_ids(self._core)

    @property
    def volume(self) -> float:
        """mm3, signed."""
        return self.info().volume

    @property
    def box(self) -> list[float]:
        """mm: xmin, ymin, zmin, xmax, ymax, zmax."""
        return self.info().box

    def info(self) -> _core.Info:
        """Numbers of elements and nodes, sub-volumes, volume, box, and what rounding did."""
        return _core.info(self._core)

    def __repr__(self) -> str:
        info = self.info()
        kinds = ", ".join(f"{count} {kind}" for kind, count in info.kinds.items() if count)
        file = os.path.basename(_core.file_of(self._core))
        subvolumes = f"{len(info.subvolumes)} sub-volume{'' if len(info.subvolumes) == 1 else 's'}"
        return f"<ketmesh.Mesh: {kinds}, {info.nodes} nodes, {subvolumes}{f', {file!r}' if file else ''}>"

    # --- Measuring --------------------------------------------------------------------------------------

    def quality(self, metric: str = "ScaledJacobian", *, threads: int = 0) -> NDArray[np.float64]:
        """(m,) float64: the value of a quality metric of each element; `metrics()` names them.

        `threads` is how many work; 0 stands for all cores. The values are the same for any number.
        """
        return _core.quality_values(self._core, metric, threads)

    def quality_report(
        self,
        metrics: str = "ScaledJacobian",
        *,
        below: float | None = None,
        above: float | None = None,
        bins: int = 10,
        worst: int = 10,
        threads: int = 0,
    ) -> list[_core.MetricReport]:
        """Statistics, histogram and worst elements of metrics (names with commas between them, or "all").

        Values strictly `below` (0 without it), or strictly `above`, count as bad.
        """
        return _core.quality(self._core, metrics, below, above, bins, worst, threads)

    def check(self, tolerance: float = 0.5) -> _core.Check:
        """Counts elements with defects.

        `tolerance` is the deviation of a mid-edge node that passes, in per cent of the length of its edge.

        >>> read("head_small_tet10.vtu").check().folded
        403
        """
        return _core.check(self._core, tolerance)

    # --- Changing it ------------------------------------------------------------------------------------

    def repair(
        self, min_ratio: float = 0.0, max_ratio: float = 30.0, min_alignment: float = 0.333333
    ) -> _core.Repair:
        """Pulls mid-edge nodes of bad ten-node tetrahedra back towards the middles of their edges.

        Elements are good whose Jacobian ratio, -100 for a folded one, lies within the limits; `min_alignment` is the
        smallest cosine of the angle at a mid-edge node.
        """
        return _core.repair(self._core, min_ratio, max_ratio, min_alignment)

    def orient(self) -> _core.Orient:
        """Turns inverted tetrahedra."""
        return _core.orient(self._core)

    def label(self, surface: SurfaceLike | None = None, tolerance: float = 0.001) -> _core.Label:
        """Makes a sub-volume of every region that the surface bounds; without a surface, of every connected set.

        `tolerance` is how far in mm a triangle may lie from its face.
        """
        return _core.label(self._core, None if surface is None else as_surface(surface), tolerance)

    def group(self, surface: SurfaceLike, tolerance: float = 0.001) -> _core.Group:
        """Joins sub-volumes by the names of the surfaces around them."""
        return _core.group(self._core, as_surface(surface), tolerance)

    def split(self, names: Sequence[str] = ()) -> _core.Split:
        """Splits sub-volumes, all without names, into the connected sets of their elements."""
        return _core.split(self._core, list(names))

    def merge(self, other: Mesh) -> _core.Merge:
        """Adds another mesh, which stays as it is, behind what this one has."""
        return _core.merge(self._core, other._core)

    def layers(self, count: int = 1) -> _core.Layers:
        """Numbers elements from the boundary inwards and keeps the numbers in the cell array `layer`."""
        return _core.layers(self._core, count)

    def project(self, surface: SurfaceLike, distance: float, interfaces: bool = False) -> _core.Project:
        """Moves the boundary onto a surface that is at most `distance` mm away."""
        return _core.project(self._core, as_surface(surface), distance, interfaces)

    def materials(self, image: Image | Path, *, threads: int = 0, **options: Any) -> _core.Materials:
        """Gives the elements grey values by an image and materials by the grey values.

        Args:
            preset: a published law and modulus, as `ketmesh materials --help` lists them.
            law: five numbers a, b, c, d, e of density [g/cm3] = a + b x^c + d x^e, x in Hounsfield units.
            modulus: two numbers p, q of E [MPa] = p density^q.
            poisson: 0.3 unless given.
            least_density: g/cm3, 0.01 unless given.
            unit_offset: grey values lie 1024 above Hounsfield units.
            by: "grey" (default), "mask", "index" or "single".
            bins: how many materials, where grey values decide.
            average: "grey" (default) or "law".
            sampling: "centroid" (default), "mean" or "voxels".
            order: of polynomials that "mean" averages exactly, 1 to 6.
            outside: grey value of elements outside the image.

        >>> mesh = read("head_small_tet4.vtu")
        >>> report = mesh.materials("head_ct.nii.gz", law=(1, 0.001, 1, 0, 0), modulus=(3000, 2), bins=4)
        >>> len(report.materials)
        4
        """
        known = {"preset", "law", "modulus", "poisson", "least_density", "unit_offset", "by", "bins", "average",
                 "sampling", "order", "outside"}
        if unknown := set(options) - known:
            raise TypeError(f"materials has no option {', '.join(sorted(unknown))}; there are {', '.join(sorted(known))}")
        return _core.materials(self._core, as_image(image), options, threads)

    # --- Making others of it ----------------------------------------------------------------------------

    def to(self, kind: str, *, split: bool = False) -> Mesh:
        """A mesh of other elements: "tet4" or "tet10".

        With `split`, each ten-node tetrahedron becomes eight linear ones on all its nodes.
        """
        return _wrap(_core.convert(self._core, kind, split))

    def remove(self, names: Sequence[str]) -> Mesh:
        """What is left without the sub-volumes of these names."""
        return _wrap(_core.remove(self._core, list(names)))

    def surfaces(self, interfaces: bool = False, names: str = "volumes") -> Surfaces:
        """The outer surface of each sub-volume and, with `interfaces`, those between two, by name.

        `names`: "volumes" names them after the sub-volumes that they bound, "ids" after the numbers of these.

        >>> read("head_small_tet4.vtu").surfaces()
        <ketmesh.Surfaces: 'Label 1-', 'Label 2-', 'Label 3-'>
        """
        if names not in ("volumes", "ids"):
            raise ValueError(f"names cannot be {names!r}; it is 'volumes' or 'ids'")
        return Surfaces(_core.surfaces(self._core, interfaces, names == "volumes"))

    def boundary(
        self, *, interfaces: bool = False, simplify: bool = False, colors: bool = False, all_faces: bool = False
    ) -> Surface:
        """One surface of the whole boundary."""
        return wrap(*_core.boundary(self._core, interfaces, simplify, colors, all_faces))

    def isosurface(self, field: str, level: float, component: int | None = None) -> Surface:
        """The surface on which a field, an array on nodes or elements, has one value."""
        return wrap(*_core.iso(self._core, field, level, component))

    def cut(self, normal: Sequence[float] = (0, 0, 1), point: Sequence[float] = (0, 0, 0)) -> Surface:
        """The section by a plane through a point (mm).

        >>> read("head_small_tet4.vtu").cut((0, 0, 1), (0, 0, 0)).report.cut > 0
        True
        """
        return wrap(*_core.cut(self._core, list(map(float, normal)), list(map(float, point))))

    def explode(self, shrink: float = 0.0, select: str = "") -> Surface:
        """Four triangles of each tetrahedron, shrunk so that the elements stand apart.

        `select` names an array on the elements: those with another value than 0 are taken.
        """
        return wrap(*_core.explode(self._core, shrink, select))

    def grow(
        self, metric: str = "ScaledJacobian", *, below: float | None = None, above: float | None = None, rings: int = 0
    ) -> Surface:
        """The exterior surface, with the array `bad` 1 on triangles at bad elements and the rings around them."""
        return wrap(*_core.grow(self._core, metric, below, above, rings))

    def graph(self, path: Path = "", all_edges: bool = False) -> list[_core.Graph]:
        """The edges of each sub-volume; written as lines where a .vtp path is given."""
        return _core.graph(self._core, os.fspath(path), all_edges)

    def match(self, surface: SurfaceLike, tolerance: float = 0.001) -> _core.Match:
        """Counts how far the mesh and a surface correspond."""
        return _core.match(self._core, as_surface(surface), tolerance)

    def colors(self, bins: int = 10) -> list[_core.ColorInterval]:
        """Intervals of equal width over the grey values, each with a colour."""
        return _core.colors(self._core, bins)

    # --- Handing it on ----------------------------------------------------------------------------------

    def save(self, path: Path, unit: str = "mm", *, text: bool = False) -> None:
        """Writes a .kmesh (always mm; `text` for its text encoding), .vtu or .vtk file. Raises `MeshFileError`."""
        _core.save(self._core, os.fspath(path), unit, text)

    def to_vtk(self) -> Any:
        """A vtkUnstructuredGrid with all arrays; needs VTK's Python modules."""
        return _exchange.to_vtk(self)

    def to_pyvista(self) -> Any:
        """A pyvista.UnstructuredGrid with all arrays; needs PyVista."""
        return _exchange.to_pyvista(self)

    def to_meshio(self) -> Any:
        """A meshio.Mesh with all arrays; needs meshio."""
        return _exchange.to_meshio(self)


def read(path: Path, labels: str = "", unit: str = "mm") -> Mesh:
    """Reads a .kmesh, .vtu or .vtk file.

    `labels` names a cell array of whole numbers whose values become the sub-volumes, `unit` is the length unit of the
    file ("m", "mm" or "um"; .kmesh files are in mm). Raises `MeshFileError`.
    """
    return _wrap(_core.read(os.fspath(path), labels, unit))


def diff(a: Mesh, b: Mesh) -> _core.Diff:
    """Compares two meshes bit for bit.

    >>> diff(read("head_small_tet4.vtu"), read("head_small_tet4.vtu")).equal
    True
    """
    return _core.diff(a._core, b._core)


def from_meshio(mesh: Any, **options: Any) -> Mesh:
    """A mesh of a meshio.Mesh; cells that are no volume elements are left out. Options are those of `Mesh`."""
    return Mesh(*_exchange.from_meshio(mesh), **options)


def from_vtk(grid: Any, **options: Any) -> Mesh:
    """A mesh of a vtkUnstructuredGrid or pyvista.UnstructuredGrid. Options are those of `Mesh`."""
    return Mesh(*_exchange.from_vtk(grid), **options)


def _wrap(core: _core.Model) -> Mesh:
    mesh = Mesh.__new__(Mesh)
    mesh._core = core
    mesh.report = None
    return mesh
