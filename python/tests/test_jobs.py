"""Every job gives what the program gives for the same file."""

import numpy as np
import pytest

import ketmesh
from common import CURVED, IMAGE, LINEAR, program


def test_figures_are_the_programs():
    for file in (LINEAR, CURVED):
        mesh, said = ketmesh.read(file), program("info", file)
        info = mesh.info()
        assert (info.elements, info.nodes, info.volume) == (said["elements"], said["nodes"], said["volume"])
        assert info.box == said["box"]
        assert [s.as_dict() for s in info.subvolumes] == said["subvolumes"]
    checked, said = ketmesh.read(CURVED).check(), program("check", CURVED)
    for name, value in checked.as_dict().items():
        assert said.get(name, value) == value


@pytest.mark.parametrize("file", [LINEAR, CURVED])
def test_quality(file):
    mesh = ketmesh.read(file)
    said = program("quality", file, "--metric", "all")["metrics"]
    for report in mesh.quality_report("all"):
        theirs = said[report.metric]
        assert (report.min, report.mean, report.max) == (theirs["min"], theirs["mean"], theirs["max"])
        values = mesh.quality(report.metric)
        assert values.shape == mesh.subvolume_ids.shape
        assert np.nanmin(np.where(np.isfinite(values), values, np.nan)) == report.min
    assert set(said) <= set(ketmesh.metrics())


def test_materials(tmp_path):
    mesh = ketmesh.read(LINEAR)
    image = ketmesh.read_image(IMAGE)
    report = mesh.materials(image, law=(1, 0.001, 1, 0, 0), modulus=(3000, 2), by="mask", bins=4, sampling="mean")
    said = program("materials", LINEAR, "--image", IMAGE, "--law", "1,0.001,1,0,0", "--modulus", "3000,2",
                   "--by", "mask", "--bins", "4", "--sampling", "mean", "-o", tmp_path / "m.vtu")
    assert [(m.id, m.density, m.emodulus, m.elements, m.mass) for m in report.materials] == [
        (m["id"], m["density"], m["emodulus"], m["elements"], m["mass"]) for m in said["materials"]
    ]
    densities = {m.id: m.density for m in report.materials}
    np.testing.assert_array_equal(mesh.cell_data["density"], [densities[i] for i in mesh.cell_data["material"]])
    with pytest.raises(TypeError, match="bin"):
        mesh.materials(image, bin=4)
    with pytest.raises(ketmesh.MeshError, match="sampling"):
        mesh.materials(image, sampling="middle")


def test_surfaces_know_where_they_came_from(tmp_path):
    mesh = ketmesh.read(LINEAR)
    arguments = ("surfaces", LINEAR, "--interfaces", "--names", "volumes", "-o", tmp_path / "s.vtp")
    said = {s["name"]: s for s in program(*arguments)["surfaces"]}
    surfaces = mesh.surfaces(interfaces=True)
    assert list(surfaces) == list(said)
    cells = mesh.cells["tet4"]
    for name, surface in surfaces.items():
        assert (len(surface.triangles), surface.area, surface.closed) == (
            said[name]["triangles"], said[name]["area"], said[name]["closed"])
        np.testing.assert_array_equal(mesh.points[surface.nodes], surface.points)
        corners = surface.nodes[surface.triangles]
        assert all(np.isin(corners[i], cells[surface.elements[i]]).all() for i in range(len(corners)))


def test_meshes_and_surfaces_that_jobs_make(tmp_path):
    mesh = ketmesh.read(LINEAR)
    mesh.point_data["height"] = mesh.points[:, 2]
    middle = (mesh.box[2] + mesh.box[5]) / 2
    iso = mesh.isosurface("height", middle)
    np.testing.assert_allclose(iso.points[:, 2], middle, atol=2e-5)
    cut = mesh.cut((0, 0, 1), (0, 0, middle))
    assert cut.area == pytest.approx(iso.area, rel=1e-5)
    assert cut.report.above + cut.report.below + cut.report.cut == len(mesh.subvolume_ids)

    curved = mesh.to("tet10")
    assert curved.volume == pytest.approx(mesh.volume, rel=1e-6)
    assert ketmesh.diff(curved.to("tet4"), mesh.to("tet10").to("tet4")).equal

    boundary = mesh.boundary()
    assert boundary.closed and boundary.report.triangles == len(boundary.triangles)
    boundary.save(tmp_path / "b.stl")
    read = ketmesh.read_surface(tmp_path / "b.stl")
    assert read.area == pytest.approx(boundary.area, rel=1e-5)
    assert mesh.match(boundary).mismatches == 0

    first = mesh.subvolumes[0].name
    rest = mesh.remove([first])
    assert [s.name for s in rest.subvolumes] == [s.name for s in mesh.subvolumes[1:]]
    with pytest.raises(ketmesh.MeshError, match="none of that"):
        mesh.remove(["none of that"])


def test_jobs_change_the_mesh_in_place():
    mesh = ketmesh.read(CURVED)
    repaired = mesh.repair()
    assert repaired.before.folded == 403 and mesh.check().folded == 0
    layers = mesh.layers(2)
    assert np.sum(mesh.cell_data["layer"] == 1) == layers.layers[0].elements
    other = ketmesh.read(LINEAR)
    subvolumes = len(other.subvolumes)
    joined = other.merge(ketmesh.read(LINEAR))
    assert joined.joined_nodes == ketmesh.read(LINEAR).info().nodes and len(other.subvolumes) == 2 * subvolumes
