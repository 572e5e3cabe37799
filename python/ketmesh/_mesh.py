# SPDX-License-Identifier: BSD-3-Clause
"""Volume meshes."""

from __future__ import annotations

import copy as _copy
import os
import tempfile as _tempfile
from collections.abc import Iterable, Mapping, Sequence
from typing import Any, overload

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _core, _exchange
from ._arrays import unmasked
from ._case import Case, Result, as_case
from ._image import Image, as_image
from ._page import Page
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
        frame: of the points, "RAS" or "LPS"; None for one that is not known.
        allow_merged: accept different points that become one when rounded to 1/65536 mm.
        allow_out_of_range: accept points beyond 32768 mm, which are moved to that limit.

    Attributes:
        report: what the job that made the mesh has to say; None for others.

    Raises `ValueError` or `TypeError` for arrays of another shape or type or with masked values, `MeshError` for numbers
    that make no mesh.

    >>> mesh = ketmesh.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]], {"tet4": [[0, 1, 2, 3]]})
    >>> round(mesh.volume, 12)
    0.166666666667
    """

    report: Any

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
        frame: str | None = None,
        allow_merged: bool = False,
        allow_out_of_range: bool = False,
    ) -> None:
        for kind in cells:
            if kind not in NODES:
                raise ValueError(f"there are no elements of kind {kind!r}; the kinds are {', '.join(NODES)}")
        blocks = [
            (NODES[kind], np.asarray(unmasked(indices, f"the array of cells {kind!r}"))) for kind, indices in cells.items()
        ]
        values = [
            {name: unmasked(array, f"the array {name!r}") for name, array in (data or {}).items()}
            for data in (cell_data, point_data)
        ]
        self._core = _core.make(
            np.asarray(unmasked(points, "the array of points")), blocks, *values, list(subvolume_names), labels,
            unit, frame, allow_merged, allow_out_of_range,
        )  # fmt: skip
        self.report = None

    # --- What it holds ----------------------------------------------------------------------------------

    @property
    def points(self) -> NDArray[np.float64]:
        """(n, 3) float64, mm: the positions of the nodes, rounded to 2^-16 mm. A read-only copy.

        >>> ketmesh.read("head_small_tet4.vtu").points.shape
        (9282, 3)
        """
        return _core.points(self._core)

    @property
    def cells(self) -> dict[str, NDArray[np.int64]]:
        """For each kind that there is an (m, k) int64 array of node numbers, in VTK's order. Read-only copies.

        >>> ketmesh.read("head_small_tet4.vtu").cells["tet4"].shape
        (46924, 4)
        """
        return _core.cells(self._core)

    @property
    def cell_ids(self) -> dict[str, NDArray[np.int64]]:
        """For each kind that there is (m,) int64: the numbers of the elements in `cells`. Read-only copies.

        Rows of `cell_data` and `subvolume_ids` stand in the order of these numbers. A mesh of one kind has 0, 1, 2, ...

        >>> ketmesh.read("head_small_tet4.vtu").cell_ids["tet4"][:3]
        array([0, 1, 2])
        """
        return _core.cell_ids(self._core)

    @property
    def cell_data(self) -> Values:
        """The arrays with a row for each element.

        >>> mesh = ketmesh.read("head_small_tet4.vtu")
        >>> mesh.cell_data["size"] = mesh.quality("Volume") ** (1 / 3)
        >>> "size" in mesh.cell_data
        True
        """
        return Values(self._core, _core.ON_ELEMENTS)

    @property
    def point_data(self) -> Values:
        """The arrays with a row for each node.

        >>> mesh = ketmesh.read("head_small_tet4.vtu")
        >>> mesh.point_data["height"] = mesh.points[:, 2]
        >>> list(mesh.point_data)
        ['original_id', 'height']
        """
        return Values(self._core, _core.ON_NODES)

    @property
    def subvolumes(self) -> list[_core.SubVolume]:
        """The sub-volumes with `number`, `name`, `elements` and `volume` (mm3, signed).

        >>> [subvolume.name for subvolume in ketmesh.read("head_small_tet4.vtu").subvolumes]
        ['Label 1', 'Label 2', 'Label 3']
        """
        return _core.subvolumes(self._core)

    @property
    def subvolume_ids(self) -> NDArray[np.int32]:
        """(m,) int32: the number of the sub-volume of each element; -1 for one in none. A read-only copy.

        >>> ketmesh.read("head_small_tet4.vtu").subvolume_ids.max()
        2
        """
        return _core.subvolume_ids(self._core)

    @property
    def frame(self) -> str | None:
        """Where x and y point in the body: "RAS", "LPS" or, where nobody says it, None.

        >>> ketmesh.read("head_small_tet4.vtu", frame="LPS").frame
        'LPS'
        """
        return _core.frame_of(self._core)

    @property
    def volume(self) -> float:
        """mm3, signed.

        >>> round(ketmesh.read("head_small_tet4.vtu").volume / 1e6, 2), "litres"
        (3.17, 'litres')
        """
        return _core.volume(self._core)

    @property
    def box(self) -> list[float]:
        """mm: xmin, ymin, zmin, xmax, ymax, zmax.

        >>> xmin, ymin, zmin, xmax, ymax, zmax = ketmesh.read("head_small_tet4.vtu").box
        >>> zmin < zmax
        True
        """
        return _core.box(self._core)

    def info(self) -> _core.Info:
        """Numbers of elements and nodes, sub-volumes, arrays, volume, box, and what rounding did.

        Warns of nodes that lie twice and of a box that suggests another unit.

        >>> ketmesh.read("head_small_tet4.vtu").info().kinds["tet4"]
        46924
        """
        return _core.info(self._core)

    def __repr__(self) -> str:
        kinds = ", ".join(f"{count} {kind}" for kind, count in _core.kinds(self._core).items()) or "no elements"
        count = len(self.subvolumes)
        frame = f", {self.frame}" if self.frame else ""
        file = os.path.basename(_core.file_of(self._core))
        return (
            f"<ketmesh.Mesh: {kinds}, {_core.rows(self._core, _core.ON_NODES)} nodes, "
            f"{count} sub-volume{'' if count == 1 else 's'}{frame}{f', {file!r}' if file else ''}>"
        )

    def copy(self) -> Mesh:
        """A second mesh with all that this one holds. So do `copy.copy` and `copy.deepcopy`; a pickle holds it, too.

        >>> mesh = ketmesh.read("head_small_tet4.vtu")
        >>> ketmesh.diff(mesh, mesh.copy()).equal
        True
        """
        made = type(self).__new__(type(self))
        made.__dict__.update(self.__dict__, _core=_copy.copy(self._core))
        return made

    __copy__ = copy

    def __deepcopy__(self, memo: dict[int, Any]) -> Mesh:
        made = type(self).__new__(type(self))
        made.__dict__.update(_copy.deepcopy(self.__dict__, memo))
        return made

    # --- Measuring --------------------------------------------------------------------------------------

    def quality(self, metric: str = "ScaledJacobian", *, threads: int = 0) -> NDArray[np.float64]:
        """(m,) float64: the value of a quality metric of each element; `metrics()` names them.

        `threads` is how many work; 0 stands for all cores. The values are the same for any number. Hexahedra and
        wedges are measured as they are. Raises `MeshError` for another metric, and for one that does not measure
        the kinds of elements here.

        >>> ketmesh.read("head_small_tet4.vtu").quality("MinDihedralAngle").shape
        (46924,)
        """
        return _core.quality_values(self._core, metric, threads)

    def quality_report(
        self,
        metrics: str = "",
        *,
        below: float | None = None,
        above: float | None = None,
        limits: str | Iterable[str] = (),
        bins: int = 10,
        width: float = 0.0,
        max_bound: float | None = None,
        worst: int = 10,
        plot: Path = "",
        threads: int = 0,
    ) -> _core.Quality:
        """Statistics, histogram and worst elements of metrics (names with commas between them, or "all").

        Without metrics: those of the limits, or else ScaledJacobian, and Folded on ten-node elements.

        Args:
            below, above: values strictly below, or above, are bad; below 0 without both.
            limits: what values have to be, "METRIC>=VALUE" or "METRIC<=VALUE", or a name of `ketmesh.limits()` for
                those that a solver documents.
            bins: of the histogram; or their `width`.
            max_bound: largest upper end of bins that begin at 0.
            worst: how many elements to name for each metric.
            plot: a .svg file to draw the histograms into.

        >>> report = ketmesh.read("head_small_tet4.vtu").quality_report(limits=["MinDihedralAngle>=10"])
        >>> report.failing == report.limits[0].failing > 0
        True
        """
        return _core.quality(
            self._core, metrics, below, above, _words(limits), bins, width, max_bound, worst, os.fspath(plot), threads
        )

    def check(self, tolerance: float = 0.5) -> _core.Check:
        """Counts elements with defects, and what does not belong into a mesh.

        `tolerance` is the deviation of a mid-edge node that passes, in per cent of the length of its edge.
        Hexahedra and wedges are looked at as they are.

        >>> ketmesh.read("head_small_tet10.vtu").check().folded
        403
        """
        return _core.check(self._core, tolerance)

    def match(self, surface: SurfaceLike, tolerance: float = 0.001) -> _core.Match:
        """Counts how far the mesh and a surface correspond; a triangle may lie `tolerance` mm from its face.

        >>> mesh = ketmesh.read("head_small_tet4.vtu")
        >>> mesh.match(mesh.boundary()).mismatches
        0
        """
        return _core.match(self._core, as_surface(surface), tolerance)

    # --- Changing it ------------------------------------------------------------------------------------

    def repair(
        self, min_ratio: float = 0.0, max_ratio: float = 30.0, min_alignment: float = 0.333333, *, threads: int = 0
    ) -> _core.Repair:
        """Pulls mid-edge nodes of bad ten-node tetrahedra back towards the middles of their edges.

        Elements are good whose Jacobian ratio, -100 for a folded one, lies within the limits; `min_alignment` is the
        smallest cosine of the angle at a mid-edge node. Raises `MeshError` for a mesh without ten-node tetrahedra.

        >>> ketmesh.read("head_small_tet10.vtu").repair().after.folded
        0
        """
        return _core.repair(self._core, min_ratio, max_ratio, min_alignment, threads)

    def orient(self) -> _core.Orient:
        """Turns inverted tetrahedra.

        >>> turned = [[0, 2, 1, 3]]
        >>> mesh = ketmesh.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]], {"tet4": turned})
        >>> mesh.orient().corrected, mesh.volume > 0
        (1, True)
        """
        return _core.orient(self._core)

    def label(self, surface: SurfaceLike | None = None, tolerance: float = 0.001) -> _core.Label:
        """Makes a sub-volume of every region that the surface bounds; without a surface, of every connected set.

        `tolerance` is how far in mm a triangle may lie from its face.

        >>> mesh = ketmesh.read("head_small_tet4.vtu")
        >>> len(mesh.label().subvolumes)
        1
        """
        return _core.label(self._core, None if surface is None else as_surface(surface), tolerance)

    def group(self, surface: SurfaceLike, tolerance: float = 0.001) -> _core.Group:
        """Joins sub-volumes by the names of the surfaces around them; `tolerance` as for `label`.

        >>> mesh = ketmesh.read("head_small_tet4.vtu")
        >>> surfaces = mesh.surfaces(interfaces=True)
        >>> regions = mesh.label(surfaces)
        >>> [subvolume.name for subvolume in mesh.group(surfaces).subvolumes]
        ['Label 1', 'Label 2', 'Label 3']
        """
        return _core.group(self._core, as_surface(surface), tolerance)

    def split(self, names: str | Iterable[str] = ()) -> _core.Split:
        """Splits sub-volumes, all without names, into the connected sets of their elements.

        >>> ketmesh.read("head_small_tet4.vtu").split(["Label 3"]).new_subvolumes >= 0
        True
        """
        return _core.split(self._core, _words(names))

    def merge(self, other: Mesh) -> _core.Merge:
        """Adds another mesh, which stays as it is, behind what this one has. Nodes at one position become one.

        >>> mesh = ketmesh.read("head_small_tet4.vtu")
        >>> mesh.merge(ketmesh.read("head_small_tet4.vtu")).joined_nodes
        9282
        """
        if not isinstance(other, Mesh):
            raise TypeError(f"a mesh takes in a ketmesh.Mesh, not {type(other).__name__!r}")
        return _core.merge(self._core, other._core)

    def layers(self, count: int = 1) -> _core.Layers:
        """Numbers elements from the boundary inwards and keeps the numbers in the cell array `layer`.

        >>> mesh = ketmesh.read("head_small_tet4.vtu")
        >>> mesh.layers(2).layers[0].elements == (mesh.cell_data["layer"] == 1).sum()
        True
        """
        return _core.layers(self._core, count)

    def project(
        self,
        surface: SurfaceLike,
        distance: float,
        interfaces: bool = False,
        *,
        min_quality: float = 0.05,
        threads: int = 0,
    ) -> _core.Project:
        """Moves the boundary onto a surface that is at most `distance` mm away; no element is inverted by it.

        With `interfaces` the nodes between sub-volumes move as well. No element falls below the scaled Jacobian
        `min_quality`.

        >>> mesh = ketmesh.read("head_small_tet4.vtu")
        >>> report = mesh.project(mesh.boundary(), 1.0)
        >>> report.on_surface == report.nodes
        True
        """
        return _core.project(self._core, as_surface(surface), distance, interfaces, min_quality, threads)

    def to_frame(self, frame: str, vectors: str | Iterable[str] = ()) -> _core.Frame:
        """Turns the mesh into the frame of coordinates "RAS" or "LPS": x and y change their signs.

        So do those of the arrays named in `vectors`, on nodes and elements. Raises `MeshError` for a mesh that does
        not say its frame.

        >>> mesh = ketmesh.read("head_small_tet4.vtu", frame="LPS")
        >>> mesh.to_frame("RAS").turned, mesh.frame
        (True, 'RAS')
        """
        return _core.to_frame(self._core, frame, _words(vectors))

    def materials(
        self,
        image: Image | Path | None = None,
        *,
        preset: str | None = None,
        law: Sequence[float] | None = None,
        modulus: Sequence[float] | None = None,
        poisson: float | None = None,
        least_density: float | None = None,
        unit_offset: bool | None = None,
        only: str | Iterable[str] | None = None,
        constants: Mapping[str, Sequence[float]] | None = None,
        by: str | None = None,
        bins: int | None = None,
        average: str | None = None,
        sampling: str | None = None,
        order: int | None = None,
        outside: float | None = None,
        threads: int = 0,
    ) -> _core.Materials:
        """Gives the elements grey values by an image and materials by the grey values.

        Args:
            image: without one, sub-volumes get their `constants` and all others keep what they have.
            preset: a published law and modulus; `presets()` names them.
            law: five numbers a, b, c, d, e of density [g/cm3] = a + b x^c + d x^e, x in Hounsfield units.
            modulus: two numbers p, q of E [MPa] = p density^q.
            poisson: 0.3 unless given.
            least_density: g/cm3, 0.01 unless given.
            unit_offset: grey values lie 1024 above Hounsfield units.
            only: names of the sub-volumes that get materials; all without it.
            constants: for names of sub-volumes density [g/cm3], E [MPa] and Poisson's ratio.
            by: "grey" (default), "mask", "index" or "single".
            bins: how many materials, where grey values decide.
            average: "grey" (default) or "law".
            sampling: "centroid" (default), "mean" or "voxels".
            order: of polynomials that "mean" averages exactly, 1 to 6.
            outside: grey value of elements outside the image.

        Raises `MeshError` for options and images that do not fit.

        >>> mesh = ketmesh.read("head_small_tet4.vtu")
        >>> report = mesh.materials("head_ct.nii.gz", law=(1, 0.001, 1, 0, 0), modulus=(3000, 2), bins=4)
        >>> len(report.materials)
        4
        """
        options = {
            "preset": preset, "law": law, "modulus": modulus, "poisson": poisson, "least_density": least_density,
            "unit_offset": unit_offset, "only": None if only is None else _words(only), "constants": constants, "by": by,
            "bins": bins, "average": average, "sampling": sampling, "order": order, "outside": outside,
        }  # fmt: skip
        given = {name: value for name, value in options.items() if value is not None}
        return _core.materials(self._core, None if image is None else as_image(image), given, threads)

    # --- Making others of it ----------------------------------------------------------------------------

    def to(self, kind: str, *, split: bool = False) -> Mesh:
        """A mesh of other elements: "tet4" or "tet10".

        Hexahedra and wedges are cut into tetrahedra. With `split`, each ten-node tetrahedron becomes eight linear ones
        on all its nodes. Raises `MeshError` when there is nothing to convert.

        >>> ketmesh.read("head_small_tet4.vtu").to("tet10").report.after.nodes
        68603
        """
        return _wrap(*_core.convert(self._core, kind, split))

    def remove(self, names: str | Iterable[str]) -> Mesh:
        """What is left without the sub-volume of this name, or the sub-volumes of these names.

        >>> [s.name for s in ketmesh.read("head_small_tet4.vtu").remove("Label 1").subvolumes]
        ['Label 2', 'Label 3']
        """
        return _wrap(*_core.remove(self._core, _words(names)))

    def weld(self, tolerance: float = 0.0) -> Mesh:
        """A mesh in which nodes that lie at one position, or within the tolerance [mm], are one.

        >>> ketmesh.read("head_small_tet4.vtu").weld().report.joined_nodes
        0
        """
        return _wrap(*_core.weld(self._core, tolerance))

    def surfaces(self, interfaces: bool = False, names: str = "volumes", *, curved: bool = False) -> Surfaces:
        """The outer surface of each sub-volume and, with `interfaces`, those between two, by name.

        `names`: "volumes" names them after the sub-volumes that they bound, "ids" after the numbers of these. With
        `curved` the faces of ten-node tetrahedra are cut into four at their mid-edge nodes.

        >>> ketmesh.read("head_small_tet4.vtu").surfaces()
        <ketmesh.Surfaces: 'Label 1-', 'Label 2-', 'Label 3-'>
        """
        if names not in ("volumes", "ids"):
            raise ValueError(f"names cannot be {names!r}; it is 'volumes' or 'ids'")
        return Surfaces(*_core.surfaces(self._core, interfaces, names == "volumes", curved))

    def boundary(
        self, *, interfaces: bool = False, simplify: bool = False, colors: bool = False, all_faces: bool = False
    ) -> Surface:
        """One surface of the whole boundary.

        Args:
            interfaces: with the faces between sub-volumes, too.
            simplify: take ten-node tetrahedra by their corners.
            colors: with the colours of the materials in `cell_data["color"]`.
            all_faces: every face of every tetrahedron.

        >>> ketmesh.read("head_small_tet4.vtu").boundary().closed
        True
        """
        return wrap(*_core.boundary(self._core, interfaces, simplify, colors, all_faces))

    def isosurface(self, field: str, level: float, component: int | None = None) -> Surface:
        """The surface on which a field, an array on nodes or elements, has one value.

        Raises `MeshError` for a field that there is not, and for less than 1000 elements.

        >>> mesh = ketmesh.read("head_small_tet4.vtu")
        >>> mesh.point_data["height"] = mesh.points[:, 2]
        >>> mesh.isosurface("height", 50.0).closed
        False
        """
        return wrap(*_core.iso(self._core, field, level, component))

    def cut(self, normal: Sequence[float] = (0, 0, 1), point: Sequence[float] = (0, 0, 0)) -> Surface:
        """The section by a plane through a point (mm).

        >>> ketmesh.read("head_small_tet4.vtu").cut((0, 0, 1), (0, 0, 0)).report.cut > 0
        True
        """
        return wrap(*_core.cut(self._core, list(map(float, normal)), list(map(float, point))))

    def explode(self, shrink: float = 0.0, select: str = "") -> Surface:
        """Four triangles of each tetrahedron, shrunk so that the elements stand apart.

        `select` names an array on the elements: those with another value than 0 are taken.

        >>> len(ketmesh.read("head_small_tet4.vtu").explode(0.2).triangles)
        187696
        """
        return wrap(*_core.explode(self._core, shrink, select))

    def grow(
        self,
        metric: str = "ScaledJacobian",
        *,
        surface: SurfaceLike | None = None,
        below: float | None = None,
        above: float | None = None,
        rings: int = 0,
        threads: int = 0,
    ) -> Surface:
        """A surface, the exterior one without another, with the array `bad`: 1 on triangles at bad elements.

        Values strictly `below` (0 unless given), or strictly `above`, are bad; `rings` of neighbours are added.

        >>> marked = ketmesh.read("head_small_tet4.vtu").grow(below=0.1)
        >>> marked.cell_data["bad"].sum() == marked.report.marked > 0
        True
        """
        given = None if surface is None else as_surface(surface)
        return wrap(*_core.grow(self._core, given, metric, below, above, rings, threads))

    def graph(self, path: Path = "", all_edges: bool = False, unit: str = "mm") -> list[_core.Graph]:
        """The edges of each sub-volume; written as lines where a .vtp path is given.

        `all_edges` takes those on the boundary of the sub-volume as well.

        >>> ketmesh.read("head_small_tet4.vtu").graph(all_edges=True)[0].name
        'Label 1'
        """
        return _core.graph(self._core, os.fspath(path), all_edges, unit)

    def colors(
        self,
        bins: int = 10,
        *,
        start: float | None = None,
        stop: float | None = None,
        path: Path = "",
        name: str = "grey intervals",
    ) -> list[_core.ColorInterval]:
        """Intervals of equal width over the grey values from `start` up to `stop`, each with a colour.

        They are written as a colour map of that name where a .json or .xml path is given. Raises `MeshError` for a
        mesh without grey values.

        >>> len(ketmesh.read("head_small_tet4.vtu").colors(5))
        5
        """
        return _core.colors(self._core, bins, start, stop, [], os.fspath(path), name)

    # --- Solving it -------------------------------------------------------------------------------------

    def export(
        self,
        path: Path,
        case: Case | Path | None = None,
        *,
        materials: str = "bins",
        dialect: str = "ccx",
        split: bool = False,
        original_ids: bool = False,
    ) -> _core.Export:
        """Writes the mesh with its materials and a case for a solver: .inp (CalculiX, Abaqus) or .feb (FEBio).

        Args:
            case: what holds and loads the model; without one there is no step.
            materials: moduli are those of the "bins", each element's own ("elements") or vary between "nodes".
            dialect: of .inp files, "ccx" or "abaqus".
            split: write the step of an .inp file into a file of its own.
            original_ids: number nodes and elements by their original identifiers.

        Raises `MeshError` for a model that no solver takes and a case that does not fit it, `MeshFileError` for a file
        that cannot be written.

        >>> mesh = ketmesh.read("head_small_tet4.vtu").to("tet10")
        >>> mesh.materials("head_ct.nii.gz", law=(1, 0.001, 1, 0, 0), modulus=(3000, 2), bins=4).elements
        46924
        >>> mesh.export("/tmp/ketmesh-head.inp").materials
        4
        """
        return _core.export_deck(
            self._core, os.fspath(path), None if case is None else as_case(case), materials, dialect, split,
            original_ids,
        )  # fmt: skip

    def solve(
        self,
        case: Case | Path,
        *,
        materials: str = "bins",
        solver: str = "auto",
        timeout: float = 0.0,
        keep: Path = "",
        threads: int = 0,
    ) -> Result:
        """Solves the mesh under a case with CalculiX, which must be installed.

        The mesh gets the point arrays displacement, stress, strain, von_mises and force, which the result has as well.

        Args:
            materials: as for `export`.
            solver: of the equations, "direct", "iterative" or "auto".
            timeout: seconds; 0 for as long as it takes.
            keep: a folder for the solver's files.

        Raises `MeshError` for a model that no solver takes, a case that does not fit it, a solver that is missing or
        fails; the mesh is as it was then.

        >>> result = ketmesh.examples.bar().solve(ketmesh.examples.PULL)
        >>> result.displacement.shape
        (325, 3)
        """
        report = _core.solve(
            self._core, as_case(case), materials, solver, timeout, os.fspath(keep),
            os.environ.get("TMPDIR", ""), os.environ.get("PATH", ""), threads,
        )
        return Result(report, self.point_data)

    def results(self, path: Path, step: int | None = None) -> _core.SolverResults:
        """Reads what CalculiX left (.frd) into point arrays: displacement [mm], stress [MPa] and the like.

        `step` is the number of the step, the last one without it. Raises `MeshFileError` for a file of another mesh.

        >>> mesh = ketmesh.examples.bar()
        >>> result = mesh.solve(ketmesh.examples.PULL, keep="/tmp/ketmesh-bar")
        >>> "stress" in mesh.results("/tmp/ketmesh-bar/model.frd").arrays
        True
        """
        return _core.results(self._core, os.fspath(path), step)

    # --- Handing it on ----------------------------------------------------------------------------------

    def save(self, path: Path, unit: str = "mm", *, text: bool = False) -> None:
        """Writes a .kmesh (always mm; `text` for its text encoding), .vtu or .vtk file. Raises `MeshFileError`.

        >>> ketmesh.read("head_small_tet4.vtu").save("/tmp/ketmesh-head.kmesh")
        """
        _core.save(self._core, os.fspath(path), unit, text)

    @overload
    def view(
        self, path: None = None, *, color: str = "", metrics: str = "", max_elements: int = 2_000_000
    ) -> Page: ...

    @overload
    def view(self, path: Path, *, color: str = "", metrics: str = "", max_elements: int = 2_000_000) -> _core.View: ...

    def view(
        self, path: Path | None = None, *, color: str = "", metrics: str = "", max_elements: int = 2_000_000
    ) -> Page | _core.View:
        """Writes the mesh as a page (.html) that any browser shows, without a network, or gives a notebook one to show.

        Args:
            path: of the file to write. Without it, the page is returned and a notebook shows it.
            color: what it is coloured by when it opens: "subvolume", an array, a quality metric, or one component of an
                array ("stress XY"). Without it: von_mises where there is one, else the sub-volumes.
            metrics: names with commas between them, or "all"; those that most people look at without it.
            max_elements: a larger mesh is shown by the elements at its surfaces, and the worst.

        Raises `MeshFileError`, and `MeshError` for a colour or metric that the mesh does not have.

        >>> ketmesh.read("head_small_tet4.vtu").view("/tmp/ketmesh-head.html").shown
        46924
        """
        if path is not None:
            return _core.view(self._core, os.fspath(path), color, metrics, max_elements)
        with _tempfile.TemporaryDirectory() as folder:
            file = os.path.join(folder, "page.html")
            report = _core.view(self._core, file, color, metrics, max_elements)
            with open(file, encoding="utf-8") as page:
                return Page(page.read(), report)

    def save_catalog(self, path: Path) -> None:
        """Writes the catalog of materials to a .xml file. Raises `MeshFileError`.

        >>> ketmesh.read("head_small_tet4.vtu").save_catalog("/tmp/ketmesh-head.materials.xml")
        """
        _core.save_catalog(self._core, os.fspath(path))

    def to_vtk(self) -> Any:
        """A vtkUnstructuredGrid with all arrays; needs VTK's Python modules.

        Elements of several kinds stand kind by kind.
        """
        return _exchange.to_vtk(self)

    def to_pyvista(self) -> Any:
        """A pyvista.UnstructuredGrid with all arrays; needs PyVista."""
        return _exchange.to_pyvista(self)

    def to_meshio(self) -> Any:
        """A meshio.Mesh with all arrays; needs meshio."""
        return _exchange.to_meshio(self)


def read(
    path: Path,
    labels: str = "",
    unit: str = "mm",
    frame: str | None = None,
    *,
    allow_merged: bool = False,
    allow_out_of_range: bool = False,
) -> Mesh:
    """Reads a .kmesh, .vtu or .vtk file or a deck (.inp).

    Args:
        labels: a cell array of whole numbers whose values become the sub-volumes.
        unit: of the file, "m", "mm" or "um"; .kmesh files are in mm.
        frame: of its coordinates, "RAS" or "LPS", where the file does not say it.
        allow_merged, allow_out_of_range: as for `Mesh`.

    Raises `MeshFileError`, which is an `OSError`.

    >>> ketmesh.read("head_small_tet4.vtu")
    <ketmesh.Mesh: 46924 tet4, 9282 nodes, 3 sub-volumes, 'head_small_tet4.vtu'>
    """
    return _wrap(_core.read(os.fspath(path), labels, unit, frame, allow_merged, allow_out_of_range))


def mesh(
    image: Image | Path,
    size: float,
    *,
    max_size: float | None = None,
    labels: Sequence[int] = (),
    min_dihedral: float = 10.0,
    smooth: float | None = None,
    rounds: int = 6,
    memory: float = 0.0,
    threads: int = 0,
) -> Mesh:
    """A mesh of linear tetrahedra of an image of labels, with a sub-volume "Label <n>" for each.

    Args:
        size: the longest edge of the elements at interfaces, mm.
        max_size: the same of those inside; four times the size unless given.
        labels: those to mesh; all but 0 without it.
        min_dihedral: degrees, 0 to 30: no element has a smaller angle.
        smooth: standard deviation in mm; 0.6 voxels along each axis unless given.
        rounds: in which nodes are moved.
        memory: bytes that the job may take; 0 for what the machine has.

    Raises `MeshError` for an image that holds no labels.

    >>> ketmesh.mesh("head_labels.nii.gz", size=8).report.min_dihedral >= 10
    True
    """
    return _wrap(
        *_core.mesh_labels(
            as_image(image), size, max_size, list(labels), min_dihedral, smooth, rounds, memory, threads
        )
    )


def diff(a: Mesh, b: Mesh, tolerance: float = 0.0) -> _core.Diff:
    """Compares two meshes bit for bit; nodes may lie apart by the tolerance [mm].

    >>> ketmesh.diff(ketmesh.read("head_small_tet4.vtu"), ketmesh.read("head_small_tet4.vtu")).equal
    True
    """
    return _core.diff(a._core, b._core, tolerance)


def colors(intervals: Sequence[float], path: Path = "", name: str = "grey intervals") -> list[_core.ColorInterval]:
    """Colours of the intervals that begin at these grey values; written as for `Mesh.colors`.

    >>> ketmesh.colors([0, 1024])[0].color
    '#f20000'
    """
    return _core.colors(None, 0, None, None, [float(start) for start in intervals], os.fspath(path), name)


def set_threads(threads: int) -> None:
    """Says how many threads jobs work on from now on; 0 stands for all cores. Results are the same for any number.

    >>> ketmesh.set_threads(2)
    >>> ketmesh.set_threads(0)
    """
    _core.set_threads(threads)


def from_meshio(mesh: Any, **options: Any) -> Mesh:
    """A mesh of a meshio.Mesh; cells that are no volume elements are left out. Options are those of `Mesh`."""
    return Mesh(*_exchange.from_meshio(mesh), **options)


def from_vtk(grid: Any, **options: Any) -> Mesh:
    """A mesh of a vtkUnstructuredGrid or pyvista.UnstructuredGrid. Options are those of `Mesh`."""
    arrays, said = _exchange.from_vtk(grid)
    return Mesh(*arrays, **(said | options))


def _words(words: str | Iterable[str]) -> list[str]:
    """One word stands for a list of it."""
    return [words] if isinstance(words, str) else list(words)


def _wrap(core: _core.Model, report: Any = None) -> Mesh:
    made = Mesh.__new__(Mesh)
    made._core = core
    made.report = report
    return made
