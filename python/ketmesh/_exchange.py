"""Meshes of other Python libraries, each of which is imported only when it is asked for."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy as np

if TYPE_CHECKING:
    from ._mesh import Mesh

# Kinds of elements as this package, meshio and VTK name them.
KINDS = (("tet4", "tetra", 10), ("tet10", "tetra10", 24), ("hex8", "hexahedron", 12), ("wedge6", "wedge", 13))
MESHIO_OF = {ours: theirs for ours, theirs, _ in KINDS}
OURS_OF_MESHIO = {theirs: ours for ours, theirs, _ in KINDS}
VTK_OF = {ours: number for ours, _, number in KINDS}
OURS_OF_VTK = {number: ours for ours, _, number in KINDS}


def to_meshio(mesh: Mesh) -> Any:
    import meshio

    cells = mesh.cells
    _require_one_kind(cells)
    return meshio.Mesh(
        mesh.points,
        [(MESHIO_OF[kind], indices) for kind, indices in cells.items()],
        point_data=dict(mesh.point_data),
        cell_data={name: [values] for name, values in mesh.cell_data.items()},
    )


def from_meshio(mesh: Any) -> tuple[Any, ...]:
    kept = [i for i, block in enumerate(mesh.cells) if block.type in OURS_OF_MESHIO]
    if len({mesh.cells[i].type for i in kept}) != len(kept):
        kept.sort(key=lambda i: mesh.cells[i].type)
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
    _require_one_kind(cells)
    ((kind, indices),) = cells.items()
    grid, points, list_of_cells = vtkUnstructuredGrid(), vtkPoints(), vtkCellArray()
    points.SetData(numpy_to_vtk(mesh.points, deep=True))
    grid.SetPoints(points)
    offsets = np.arange(0, indices.size + 1, indices.shape[1], dtype=np.int64)
    list_of_cells.SetData(
        numpy_to_vtkIdTypeArray(offsets, deep=True), numpy_to_vtkIdTypeArray(indices.ravel(), deep=True)
    )
    grid.SetCells(VTK_OF[kind], list_of_cells)
    for values, data in ((mesh.cell_data, grid.GetCellData()), (mesh.point_data, grid.GetPointData())):
        for name, array in values.items():
            added = numpy_to_vtk(np.ascontiguousarray(array), deep=True)
            added.SetName(name)
            data.AddArray(added)
    return grid


def from_vtk(grid: Any) -> tuple[Any, ...]:
    from vtkmodules.util.numpy_support import vtk_to_numpy

    types = vtk_to_numpy(grid.GetCellTypesArray())
    offsets = vtk_to_numpy(grid.GetCells().GetOffsetsArray())[:-1]
    indices = vtk_to_numpy(grid.GetCells().GetConnectivityArray())
    cells, order = {}, []
    for kind, number in VTK_OF.items():
        own = np.flatnonzero(types == number)
        if len(own):
            nodes = int(np.diff(np.append(offsets, len(indices)))[own[0]])
            cells[kind] = indices[offsets[own][:, None] + np.arange(nodes)].astype(np.int64)
            order.append(own)
    kept = np.concatenate(order) if order else np.empty(0, np.int64)
    return (
        vtk_to_numpy(grid.GetPoints().GetData()),
        cells,
        {name: values[kept] for name, values in _arrays(grid.GetCellData()).items()},
        _arrays(grid.GetPointData()),
    )


def to_pyvista(mesh: Mesh) -> Any:
    import pyvista

    return pyvista.wrap(to_vtk(mesh))


def _arrays(data: Any) -> dict[str, Any]:
    from vtkmodules.util.numpy_support import vtk_to_numpy

    arrays = [data.GetArray(i) for i in range(data.GetNumberOfArrays())]
    return {array.GetName(): vtk_to_numpy(array) for array in arrays if array is not None}


def _require_one_kind(cells: dict[str, Any]) -> None:
    if len(cells) != 1:
        raise ValueError("a mesh of several kinds of elements cannot be handed on with its values; see remove()")
