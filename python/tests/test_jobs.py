# SPDX-License-Identifier: BSD-3-Clause
"""What jobs give here that the program writes to files or does not give."""

import numpy as np
import pytest

import ketmesh
from common import CURVED, DATA, IMAGE, LINEAR


@pytest.mark.parametrize("file", [LINEAR, CURVED])
def test_values_of_elements_are_what_reports_are_of(file):
    mesh = ketmesh.read(file)
    for report in mesh.quality_report("all").metrics:
        values = mesh.quality(report.metric)
        assert values.shape == mesh.subvolume_ids.shape
        finite = values[np.isfinite(values)]
        assert (finite.min(), finite.max()) == (report.min, report.max)
        assert report.metric in ketmesh.metrics()


def test_materials_reach_the_elements():
    mesh = ketmesh.read(LINEAR)
    options = {"law": (1, 0.001, 1, 0, 0), "modulus": (3000, 2)}
    report = mesh.materials(IMAGE, **options, by="mask", bins=4)
    densities = {m.id: m.density for m in report.materials}
    np.testing.assert_array_equal(mesh.cell_data["density"], [densities[i] for i in mesh.cell_data["material"]])
    kept = mesh.cell_data["density"]
    mesh.materials(constants={"Label 2": (1.9, 17000, 0.3)})
    is_second = mesh.subvolume_ids == 1
    assert (mesh.cell_data["density"][is_second] == 1.9).all()
    np.testing.assert_array_equal(mesh.cell_data["density"][~is_second], kept[~is_second])


def test_surfaces_know_where_they_came_from(tmp_path):
    mesh = ketmesh.read(LINEAR, frame="LPS")
    cells = mesh.cells["tet4"]
    for surface in mesh.surfaces(interfaces=True).values():
        np.testing.assert_array_equal(mesh.points[surface.nodes], surface.points)
        corners = surface.nodes[surface.triangles]
        assert all(np.isin(corners[i], cells[surface.elements[i]]).all() for i in range(len(corners)))
        assert surface.frame == "LPS"
    for name, surface in mesh.surfaces().items():
        surface.save(tmp_path / "one.vtp")
        again = ketmesh.read_surface(tmp_path / "one.vtp")
        assert (again.name, again.area, again.frame) == (name, surface.area, "LPS")


def test_a_mesh_of_several_kinds_keeps_its_values_with_its_elements():
    hexes, wedges = (ketmesh.read(DATA / name) for name in ("hex_matrix_fiber.vtu", "wedge_beam14.vtu"))
    hexes.merge(wedges)
    hexes.cell_data["number"] = np.arange(len(hexes.subvolume_ids))
    for kind, ids in hexes.cell_ids.items():
        assert len(ids) == len(hexes.cells[kind])
    exchanged = ketmesh.from_vtk(hexes.to_vtk())
    for kind, ids in hexes.cell_ids.items():
        np.testing.assert_array_equal(exchanged.cells[kind], hexes.cells[kind])
        np.testing.assert_array_equal(exchanged.cell_data["number"][exchanged.cell_ids[kind]], ids)
    assert [s.name for s in exchanged.subvolumes] == [s.name for s in hexes.subvolumes]
