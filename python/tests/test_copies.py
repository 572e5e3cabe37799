# SPDX-License-Identifier: BSD-3-Clause
"""Copies and pickles: what comes out is what went in, also in another process."""

import copy
import pickle
import subprocess
import sys

import numpy as np
import pytest

import ketmesh
from common import CURVED, DATA, IMAGE, LABELS, LINEAR


def through_buffers(thing):
    """As dask sends it: large arrays beside the pickle."""
    buffers = []
    packed = pickle.dumps(thing, 5, buffer_callback=buffers.append)
    return pickle.loads(packed, buffers=buffers)


WAYS = {
    "copy": copy.copy,
    "deepcopy": copy.deepcopy,
    "pickle": lambda thing: pickle.loads(pickle.dumps(thing)),
    "buffers": through_buffers,
}
pytestmark = pytest.mark.filterwarnings("ignore::ketmesh.MeshWarning")
every_way = pytest.mark.parametrize("way", WAYS.values(), ids=WAYS)


def rich():
    """A mesh with everything that one can have: materials, greys, arrays of several types, names, a frame."""
    mesh = ketmesh.read(CURVED, frame="RAS")
    mesh.materials(IMAGE, law=(1, 0.001, 1, 0, 0), modulus=(3000, 2), bins=4)
    mesh.cell_data["wide"] = np.arange(len(mesh.subvolume_ids)) + 2**40
    mesh.cell_data["flag"] = mesh.subvolume_ids == 1
    mesh.point_data["vectors"] = mesh.points.astype(np.float32)
    mesh.layers(2)
    return mesh


def mixed():
    mesh = ketmesh.read(DATA / "hex_matrix_fiber.vtu")
    mesh.merge(ketmesh.read(DATA / "wedge_beam14.vtu"))
    return mesh


@every_way
@pytest.mark.parametrize("make", [rich, mixed, ketmesh.examples.bar, lambda: ketmesh.mesh(LABELS, 12)])
def test_a_mesh_comes_back_as_it_was(make, way, tmp_path):
    mesh = make()
    again = way(mesh)
    assert type(again) is ketmesh.Mesh and repr(again) == repr(mesh)
    compared = ketmesh.diff(mesh, again)
    assert compared.equal and not compared.left_out, compared
    for name, values in mesh.cell_data.items():
        assert again.cell_data[name].dtype == values.dtype
    told, told_again = (each.info().as_dict() | {"memory": 0} for each in (mesh, again))
    assert repr(told) == repr(told_again) and repr(again.report) == repr(mesh.report)
    for each, path in ((mesh, "one"), (again, "other")):
        each.save(tmp_path / f"{path}.kmesh")
    assert (tmp_path / "one.kmesh").read_bytes() == (tmp_path / "other.kmesh").read_bytes()


@every_way
def test_a_copy_is_a_mesh_of_its_own(way):
    mesh = ketmesh.read(LINEAR)
    again = way(mesh)
    again.cell_data["mine"] = np.zeros(len(again.subvolume_ids))
    again.remove("Label 1")
    again.label()
    assert "mine" not in mesh.cell_data and len(mesh.subvolumes) == 3


@every_way
def test_images_and_surfaces_and_cases_serve_as_before(way):
    mesh = ketmesh.read(LINEAR)
    read = ketmesh.read_image(IMAGE)
    turned = ketmesh.Image(np.asfortranarray(read.array[:, ::-1]).astype(np.float32),
                           np.array([[0, -2.1, 0, 290], [2.7, 0, 0, -1], [0, 0, 2.1, -7]]) / 1000, "RAS", unit="m")
    for image in (read, turned):
        again = way(image)
        assert repr(again) == repr(image) and again.note == image.note
        np.testing.assert_array_equal(again.affine, image.affine)
        np.testing.assert_array_equal(again.array, image.array)
        assert again.array.dtype == image.array.dtype
        greys = []
        for each in (image, again):
            mesh.materials(each, law=(1, 0.001, 1, 0, 0), modulus=(3000, 2), bins=3, outside=0)
            greys.append(mesh.cell_data["grey"])
        np.testing.assert_array_equal(*greys)

    surfaces, boundary = mesh.surfaces(interfaces=True), mesh.boundary(interfaces=True)
    part = surfaces["Label 1-"]
    assert len(part.points) < len(boundary.points)  # its arrays are taken, those of `boundary` too
    for surface in (part, boundary, mesh.cut(), ketmesh.Surface(part.points, part.triangles, "mine", frame="RAS")):
        again = way(surface)
        assert repr(again) == repr(surface) and again.frame == surface.frame
        for name in ("points", "triangles", "elements", "faces", "nodes"):
            np.testing.assert_array_equal(getattr(again, name), getattr(surface, name))
            assert name not in again.__dict__ or again.points is None or not again.points.flags.writeable
        assert again.cell_data.keys() == surface.cell_data.keys()
        for name, values in again.cell_data.items():
            assert values.flags.writeable == surface.cell_data[name].flags.writeable, name
        assert repr(mesh.match(again)) == repr(mesh.match(surface))
    assert repr(mesh.label(way(surfaces))) == repr(mesh.label(surfaces))  # several surfaces keep their names

    bar, result = ketmesh.examples.bar(), None
    case = way(ketmesh.examples.PULL)
    assert repr(case) == repr(ketmesh.examples.PULL)
    result = bar.solve(case)
    again = way(result)
    assert repr(again) == repr(result) and repr(again.report) == repr(result.report)
    np.testing.assert_array_equal(again.stress, result.stress)
    assert not again.stress.flags.writeable


@every_way
def test_reports_and_values_are_told_as_before(way):
    mesh = ketmesh.read(LINEAR)
    for report in (mesh.quality_report("all"), mesh.check(), mesh.info(), mesh.subvolumes, ketmesh.presets()):
        again = way(report)
        assert repr(again) == repr(report)
    again = way(mesh.quality_report(limits=["Volume>=1"]))
    assert again.metrics[0].metric == "Volume" and again.as_dict().keys() == mesh.quality_report().as_dict().keys()
    with pytest.raises(AttributeError):
        again.metrics = []
    values = way(mesh.cell_data)
    assert type(values) is dict and values.keys() == set(mesh.cell_data)
    with pytest.raises(ketmesh.MeshError) as raised:
        ketmesh.read("none.vtu")
    error = way(raised.value)
    assert type(error) is ketmesh.MeshFileError and str(error) == str(raised.value)


def test_another_process_takes_and_gives_them():
    mesh = rich()
    code = ("import pickle, sys; mesh = pickle.load(sys.stdin.buffer); mesh.to_frame('LPS'); "
            "pickle.dump((mesh, mesh.surfaces()), sys.stdout.buffer)")
    given = subprocess.run([sys.executable, "-c", code], input=pickle.dumps(mesh), capture_output=True, check=True)
    there, surfaces = pickle.loads(given.stdout)
    mesh.to_frame('LPS')
    assert ketmesh.diff(mesh, there).equal and surfaces.report.surfaces[0].area == mesh.surfaces()["Label 1-"].area


def test_bytes_of_no_mesh_are_refused():
    kind, arguments, state = ketmesh.read(LINEAR)._core.__reduce_ex__(2)[:3]
    whole = np.array(state[0])
    spoiled = whole.copy()
    spoiled[len(whole) // 2] ^= 1
    for bytes_, words in ((whole[:-100], "cut off or was changed"), (spoiled, "was changed"), (whole[:0], "something else"),
                          (np.arange(99, dtype=np.uint8), "something else")):
        with pytest.raises(ketmesh.MeshError, match=words):
            kind(*arguments).__setstate__((bytes_, *state[1:]))


def test_a_surface_with_arrays_of_another_length_is_refused():
    kind, arguments, state = ketmesh.read(LINEAR).boundary()._made.__reduce_ex__(2)[:3]
    name, place, components, type_, values = state[4][0]
    for array in ((name, place, 0, type_, values), (name, place, components, type_, values[:-1]),
                  (name, 7, components + 1, type_, values)):
        with pytest.raises(ketmesh.MeshError, match="one row for each"):
            kind(*arguments).__setstate__((*state[:4], [array], *state[5:]))
