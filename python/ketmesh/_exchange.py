# SPDX-License-Identifier: BSD-3-Clause
"""Meshes of other Python libraries, each of which is imported only when it is asked for."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy as np
from numpy.typing import NDArray

from . import _core

if TYPE_CHECKING:
    from ._mesh import Mesh

# Kinds of elements as this package, meshio and VTK name them.
KINDS = (("tet4", "tetra", 10), ("tet10", "tetra10", 24), ("hex8", "hexahedron", 12), ("wedge6", "wedge", 13))
MESHIO_OF = {ours: theirs for ours, theirs, _ in KINDS}
OURS_OF_MESHIO = {theirs: ours for ours, theirs, _ in KINDS}
VTK_OF = {ours: number for ours, _, number in KINDS}

# Field data of VTK's data sets that say the frame and the names of sub-volumes.
SPACE, SUBVOLUME_NAMES = "SPACE", "subvolume_names"

# Points, cells, cell data and point data, as `Mesh` takes them.
Arrays = tuple[Any, dict[str, Any], dict[str, Any], dict[str, Any]]


def to_meshio(mesh: Mesh) -> Any:
    import meshio

    ids = mesh.cell_ids
    return meshio.Mesh(
        mesh.points,
        [(MESHIO_OF[kind], indices) for kind, indices in mesh.cells.items()],
        point_data=dict(mesh.point_data),
        cell_data={name: [values[own] for own in ids.values()] for name, values in mesh.cell_data.items()},
    )


def from_meshio(mesh: Any) -> Arrays:
    kept = [i for i, block in enumerate(mesh.cells) if block.type in OURS_OF_MESHIO]
    kept.sort(key=lambda i: list(OURS_OF_MESHIO).index(mesh.cells[i].type))
    cells: dict[str, list[Any]] = {}
    for i in kept:
        cells.setdefault(OURS_OF_MESHIO[mesh.cells[i].type], []).append(mesh.cells[i].data)
    cell_data = {name: np.concatenate([blocks[i] for i in kept]) for name, blocks in mesh.cell_data.items() if kept}
    return mesh.points, {kind: np.concatenate(blocks) for kind, blocks in cells.items()}, cell_data, mesh.point_data


def to_vtk(mesh: Mesh) -> Any:
    from vtkmodules.util.numpy_support import numpy_to_vtk, numpy_to_vtkIdTypeArray
    from vtkmodules.vtkCommonCore import vtkPoints
    from vtkmodules.vtkCommonDataModel import vtkCellArray, vtkUnstructuredGrid

    cells = mesh.cells
    grid, points, list_of_cells = vtkUnstructuredGrid(), vtkPoints(), vtkCellArray()
    points.SetData(numpy_to_vtk(mesh.points, deep=True))
    grid.SetPoints(points)
    lengths = np.concatenate([np.full(len(indices), indices.shape[1]) for indices in cells.values()])
    types = np.concatenate([np.full(len(indices), VTK_OF[kind], np.uint8) for kind, indices in cells.items()])
    list_of_cells.SetData(
        numpy_to_vtkIdTypeArray(np.concatenate([[0], np.cumsum(lengths)]).astype(np.int64), deep=True),
        numpy_to_vtkIdTypeArray(np.concatenate([indices.ravel() for indices in cells.values()]), deep=True),
    )
    grid.SetCells(numpy_to_vtk(types, deep=True), list_of_cells)
    order = np.concatenate(list(mesh.cell_ids.values()))
    for name, values in mesh.cell_data.items():
        _add(grid.GetCellData(), name, values[order])
    for name, values in mesh.point_data.items():
        _add(grid.GetPointData(), name, values)
    _say(grid, SUBVOLUME_NAMES, [subvolume.name for subvolume in mesh.subvolumes])
    _say(grid, SPACE, [mesh.frame] if mesh.frame else [])
    return grid


def from_vtk(grid: Any) -> tuple[Arrays, dict[str, Any]]:
    """The arrays, and what the grid says beside them as options of `Mesh`."""
    from vtkmodules.util.numpy_support import vtk_to_numpy

    if grid.GetNumberOfCells() == 0:
        raise _core.MeshError("the grid has no cells")
    types = vtk_to_numpy(grid.GetCellTypesArray())
    offsets = vtk_to_numpy(grid.GetCells().GetOffsetsArray())
    indices = vtk_to_numpy(grid.GetCells().GetConnectivityArray())
    cells, order = {}, [np.empty(0, np.int64)]
    for kind, number in VTK_OF.items():
        own = np.flatnonzero(types == number)
        if len(own):
            nodes = offsets[own[0] + 1] - offsets[own[0]]
            cells[kind] = indices[offsets[own][:, None] + np.arange(nodes)].astype(np.int64)
            order.append(own)
    kept = np.concatenate(order)
    cell_data = {name: values[kept] for name, values in _arrays(grid.GetCellData()).items()}
    frame = _said(grid, SPACE)
    options: dict[str, Any] = {"frame": frame[0] if frame in (["RAS"], ["LPS"]) else None}
    if "subvolume" in cell_data:
        options["subvolume_names"] = _said(grid, SUBVOLUME_NAMES)
    return (vtk_to_numpy(grid.GetPoints().GetData()), cells, cell_data, _arrays(grid.GetPointData())), options


def to_pyvista(mesh: Mesh) -> Any:
    import pyvista

    return pyvista.wrap(to_vtk(mesh))


def _add(data: Any, name: str, values: NDArray[Any]) -> None:
    from vtkmodules.util.numpy_support import numpy_to_vtk

    array = numpy_to_vtk(np.ascontiguousarray(values), deep=True)
    array.SetName(name)
    data.AddArray(array)


def _arrays(data: Any) -> dict[str, Any]:
    from vtkmodules.util.numpy_support import vtk_to_numpy

    arrays = [data.GetArray(i) for i in range(data.GetNumberOfArrays())]
    return {array.GetName(): vtk_to_numpy(array) for array in arrays if array is not None and array.GetName()}


def _say(grid: Any, name: str, words: list[str]) -> None:
    from vtkmodules.vtkCommonCore import vtkStringArray

    array = vtkStringArray()
    array.SetName(name)
    for word in words:
        array.InsertNextValue(word)
    if words:
        grid.GetFieldData().AddArray(array)


def _said(grid: Any, name: str) -> list[str]:
    array = grid.GetFieldData().GetAbstractArray(name)
    return [] if array is None else [array.GetValue(i) for i in range(array.GetNumberOfValues())]
