# SPDX-License-Identifier: BSD-3-Clause
"""Meshes as arrays: in, out, and what is refused."""

import sys
import types

import numpy as np
import pytest

import ketmesh
from common import CURVED, LINEAR, UNIT_TET

ONE_OF_EACH = {
    "tet4": (UNIT_TET, [[0, 1, 2, 3]], 1 / 6),
    "hex8": (
        [[x, y, z] for z in (0, 1) for x, y in ((0, 0), (2, 0), (2, 1), (0, 1))],
        [list(range(8))],
        2.0,
    ),
    # VTK's winding, in which the first triangle faces outwards.
    "wedge6": ([[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1], [0, 1, 1], [1, 0, 1]], [list(range(6))], 0.5),
}


@pytest.mark.parametrize("kind", ONE_OF_EACH)
def test_elements_come_back_as_they_went_in(kind):
    points, cells, volume = ONE_OF_EACH[kind]
    mesh = ketmesh.Mesh(points, {kind: cells})
    assert mesh.volume == pytest.approx(volume)
    np.testing.assert_array_equal(mesh.points, points)
    np.testing.assert_array_equal(mesh.cells[kind], cells)


@pytest.mark.parametrize("file", [LINEAR, CURVED])
def test_a_mesh_of_the_arrays_of_a_file_is_that_of_the_file(file):
    read = ketmesh.read(file)
    made = ketmesh.Mesh(
        read.points,
        read.cells,
        dict(read.cell_data),
        dict(read.point_data),
        subvolume_names=[s.name for s in read.subvolumes],
    )
    compared = ketmesh.diff(read, made)
    assert compared.equal, compared.first_difference


@pytest.mark.parametrize("dtype", ["int8", "uint8", "int16", "int32", "int64", "uint64", "float32", "float64"])
def test_values_keep_their_type_and_bits(dtype, tmp_path):
    mesh = ketmesh.read(LINEAR)
    count = len(mesh.subvolume_ids)
    values = np.linspace(-100, 100, count).astype(dtype)
    if dtype in ("int64", "uint64"):
        values[0] = 2**62 + 1
    mesh.cell_data["mine"] = values
    mesh.cell_data["vectors"] = np.column_stack([values, values])
    mesh.save(tmp_path / "mesh.vtu")
    for each in (mesh, ketmesh.read(tmp_path / "mesh.vtu")):
        assert each.cell_data["mine"].dtype == np.dtype(dtype)
        np.testing.assert_array_equal(each.cell_data["mine"], values)
        np.testing.assert_array_equal(each.cell_data["vectors"][:, 1], values)
    assert not mesh.cell_data["mine"].flags.writeable
    del mesh.cell_data["mine"]
    assert "mine" not in mesh.cell_data


def test_labels_become_subvolumes():
    mesh = ketmesh.read(LINEAR)
    labels = np.where(mesh.points[mesh.cells["tet4"]].mean(axis=1)[:, 2] > mesh.box[2] + 30, 7, 3)
    labelled = ketmesh.Mesh(mesh.points, mesh.cells, {"label": labels})
    assert [(s.name, s.elements) for s in labelled.subvolumes] == [
        ("Label 3", np.sum(labels == 3)),
        ("Label 7", np.sum(labels == 7)),
    ]
    np.testing.assert_array_equal(labelled.subvolume_ids, labels == 7)


REFUSED = {
    "node beyond the points": (UNIT_TET, {"tet4": [[0, 1, 2, 4]]}, {}, ketmesh.MeshError, "point 4"),
    "negative node": (UNIT_TET, {"tet4": [[0, 1, 2, -1]]}, {}, ketmesh.MeshError, "point -1"),
    "points in a plane": ([[0, 0], [1, 0]], {"tet4": [[0, 1, 2, 3]]}, {}, ValueError, r"\(n, 3\)"),
    "words for points": ([["a", "b", "c"]], {"tet4": [[0, 0, 0, 0]]}, {}, TypeError, "points"),
    "fractions for nodes": (UNIT_TET, {"tet4": [[0.0, 1.0, 2.0, 3.0]]}, {}, TypeError, "whole numbers"),
    "three nodes": (UNIT_TET, {"tet4": [[0, 1, 2]]}, {}, ValueError, r"\(n, 4\)"),
    "unknown kind": (UNIT_TET, {"pyramid5": [[0, 1, 2, 3, 0]]}, {}, ValueError, "pyramid5"),
    "no elements": (UNIT_TET, {}, {}, ketmesh.MeshError, "no cells"),
    "not a number": ([[0, 0, float("nan")]] * 4, {"tet4": [[0, 1, 2, 3]]}, {}, ketmesh.MeshError, "finite"),
    "values of another length": (UNIT_TET, {"tet4": [[0, 1, 2, 3]]}, {"a": [1, 2]}, ValueError, "1 rows"),
    "words for values": (UNIT_TET, {"tet4": [[0, 1, 2, 3]]}, {"a": ["x"]}, TypeError, "numbers"),
}


@pytest.mark.parametrize("case", REFUSED)
def test_bad_arrays_raise(case):
    points, cells, values, error, words = REFUSED[case]
    with pytest.raises(error, match=words):
        ketmesh.Mesh(points, cells, values)


def test_grey_values_are_the_meshs():
    mesh = ketmesh.read(LINEAR)
    mesh.cell_data["grey"] = np.arange(len(mesh.subvolume_ids), dtype=float)
    assert mesh.cell_data["grey"][5] == 5.0
    assert mesh.colors(1)[0].low == 0.0


def test_pyvista_is_given_the_grid(monkeypatch):
    """PyVista itself is not packaged everywhere: what stands in for it takes what its `wrap` is documented to take."""
    vtk = pytest.importorskip("vtkmodules.vtkCommonDataModel")
    monkeypatch.setitem(sys.modules, "pyvista", types.SimpleNamespace(wrap=lambda grid: ("wrapped", grid)))
    said, grid = ketmesh.read(CURVED).to_pyvista()
    assert said == "wrapped" and isinstance(grid, vtk.vtkUnstructuredGrid) and grid.GetNumberOfCells() == 46924
    with pytest.raises(ketmesh.MeshError, match="no cells"):
        ketmesh.from_vtk(vtk.vtkUnstructuredGrid())


def test_other_libraries_give_and_take_meshes():
    mesh = ketmesh.read(CURVED)
    mesh.cell_data["mine"] = np.arange(len(mesh.subvolume_ids))
    exchanged = 0
    for module, there, back in (
        ("vtkmodules.vtkCommonDataModel", "to_vtk", ketmesh.from_vtk),
        ("meshio", "to_meshio", ketmesh.from_meshio),
    ):
        try:
            __import__(module)
        except ImportError:
            continue
        exchanged += 1
        same = back(getattr(mesh, there)())
        np.testing.assert_array_equal(same.points, mesh.points)
        np.testing.assert_array_equal(same.cells["tet10"], mesh.cells["tet10"])
        np.testing.assert_array_equal(same.cell_data["mine"], mesh.cell_data["mine"])
    assert exchanged > 0, "neither VTK's modules nor meshio are installed"
