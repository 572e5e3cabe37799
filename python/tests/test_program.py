# SPDX-License-Identifier: BSD-3-Clause
"""Every command of the program is there, and gives the same values bit for bit."""

import math
import os
import re
import subprocess
from html.parser import HTMLParser

import numpy as np
import pytest

import ketmesh
from common import CURVED, IMAGE, LABELS, LINEAR, has_page, program

# What commands are called here where that is another name.
NAMES = {"convert": "to", "frame": "to_frame", "iso": "isosurface"}

LAW = {"law": (1, 0.001, 1, 0, 0), "modulus": (3000, 2)}
LAW_OPTIONS = ("--law", "1,0.001,1,0,0", "--modulus", "3000,2")


def help_of(*command):
    return subprocess.run([os.environ["KETMESH"], *command, "--help"], check=True, capture_output=True, text=True).stdout


def commands():
    listed = help_of().split("Subcommands:")[1].split("\n\n")[0]
    return re.findall(r"^  (\w+)", listed, re.M)


def test_every_command_has_a_function():
    found = commands()
    assert len(found) > 25
    for command in found:
        name = NAMES.get(command, command)
        assert hasattr(ketmesh.Mesh, name) or hasattr(ketmesh, name), f"no function does what ketmesh {command} does"
    assert set(TABLE) | {"diff", "save", "solve", "results", "export", "mesh", "view"} >= set(found)


def plain(value):
    """A report as the program prints it: dictionaries and lists; what is not finite is none there."""
    if hasattr(value, "as_dict"):
        return plain(value.as_dict())
    if isinstance(value, dict):
        return {key: plain(each) for key, each in value.items()}
    if isinstance(value, (list, tuple)):
        return [plain(each) for each in value]
    return None if isinstance(value, float) and not math.isfinite(value) else value


def compare(ours, theirs, path="", tolerance=None):
    """The number of values that both have; each must be the same, or as near as the tolerance."""
    if isinstance(ours, dict) and isinstance(theirs, dict):
        keys = (ours.keys() & theirs.keys()) - {"files"}
        return sum(compare(ours[key], theirs[key], f"{path}.{key}", tolerance) for key in keys)
    if isinstance(ours, list) and isinstance(theirs, list):
        assert len(ours) == len(theirs), path
        return sum(compare(a, b, f"{path}[{i}]", tolerance) for i, (a, b) in enumerate(zip(ours, theirs)))
    if isinstance(ours, (dict, list)) or isinstance(theirs, (dict, list)):
        return 0
    is_rounded = tolerance and isinstance(theirs, float)
    assert ours == (pytest.approx(theirs, tolerance, 1e-9) if is_rounded else theirs), path
    return 1


def changed(mesh, report):
    return report, mesh


def made(mesh):
    return mesh.report, mesh


# For each command: the file, further options, the ending of the file that it writes, and what does the same here: it
# gives the report and the mesh or surface.
TABLE = {
    "info": (LINEAR, (), "", lambda m: (m.info(), None)),
    "surfaces": (LINEAR, ("--interfaces", "--names", "volumes"), "vtp", lambda m: made(m.surfaces(interfaces=True))),
    "iso": (LINEAR, ("--field", "height", "--level", 40), "vtp", lambda m: made(m.isosurface("height", 40))),
    "boundary": (CURVED, ("--interfaces",), "vtp", lambda m: made(m.boundary(interfaces=True))),
    "explode": (LINEAR, ("--shrink", 0.25), "vtp", lambda m: made(m.explode(0.25))),
    "graph": (LINEAR, ("--all-edges",), "", lambda m: ({"graphs": m.graph(all_edges=True)}, None)),
    "quality": (CURVED, ("--metric", "all", "--limits", "abaqus", "--max-bound", 3), "",
                lambda m: ({q.metric: q for q in m.quality_report("all", limits=["abaqus"], max_bound=3).metrics}, None)),
    "check": (CURVED, (), "", lambda m: (m.check(), None)),
    "repair": (CURVED, ("--max-ratio", 20), "vtu", lambda m: changed(m, m.repair(max_ratio=20))),
    "orient": (LINEAR, (), "vtu", lambda m: changed(m, m.orient())),
    "grow": (LINEAR, ("--below", 0.1, "--rings", 1), "vtp", lambda m: made(m.grow(below=0.1, rings=1))),
    "layers": (LINEAR, ("--layers", 3), "vtu", lambda m: changed(m, m.layers(3))),
    "convert": (LINEAR, ("--to", "tet10"), "vtu", lambda m: made(m.to("tet10"))),
    "label": (LINEAR, ("--surface", "skin.vtp"), "vtu", lambda m: changed(m, m.label("skin.vtp"))),
    "group": (LINEAR, ("--surface", "skin.vtp"), "vtu", lambda m: changed(m, m.group("skin.vtp"))),
    "match": (LINEAR, ("--surface", "skin.vtp"), "", lambda m: (m.match("skin.vtp"), None)),
    "remove": (LINEAR, ("--name", "Label 2"), "vtu", lambda m: made(m.remove(["Label 2"]))),
    "split": (LINEAR, (), "vtu", lambda m: changed(m, m.split())),
    "merge": (LINEAR, (CURVED,), "vtu", lambda m: changed(m, m.merge(ketmesh.read(CURVED)))),
    "frame": (LINEAR, ("--frame", "LPS", "--to", "RAS"), "vtu", lambda m: changed(m, {"from": m.to_frame("RAS").before})),
    "weld": (LINEAR, ("--tolerance", 0.5), "vtu", lambda m: made(m.weld(0.5))),
    "cut": (LINEAR, ("--normal", "0,1,2", "--point", "0,0,40"), "vtp", lambda m: made(m.cut((0, 1, 2), (0, 0, 40)))),
    "project": (LINEAR, ("--surface", "skin.vtp", "--distance", 2), "vtu", lambda m: changed(m, m.project("skin.vtp", 2))),
    "materials": (LINEAR, ("--image", IMAGE, *LAW_OPTIONS, "--bins", 8, "--sampling", "mean"), "vtu",
                  lambda m: changed(m, m.materials(IMAGE, **LAW, bins=8, sampling="mean"))),
    "colors": (LINEAR, ("--bins", 7), "json", lambda m: ({"intervals": m.colors(7)}, None)),
}  # fmt: skip


@pytest.fixture
def inputs(tmp_path, monkeypatch):
    """The sample meshes with a field of nodes, and a surface of the linear one."""
    monkeypatch.chdir(tmp_path)
    mesh = ketmesh.read(LINEAR)
    mesh.surfaces(interfaces=True).save("skin.vtp")
    mesh.point_data["height"] = mesh.points[:, 2]
    mesh.save(LINEAR.name)
    (tmp_path / CURVED.name).symlink_to(CURVED)


@pytest.mark.filterwarnings("ignore::ketmesh.MeshWarning")
@pytest.mark.parametrize("command", TABLE)
def test_values_are_the_programs(command, inputs):
    file, options, ending, call = TABLE[command]
    output = ["-o", f"theirs.{ending}"] if ending else []
    said = program(command, file.name, *options, *output)
    mesh = ketmesh.read(file.name, frame="LPS" if command == "frame" else None)
    report, result = call(mesh)
    ours = plain(report)
    assert compare(ours, said.get("metrics", said)) >= 1, (sorted(ours), sorted(said))
    if ending == "vtu":
        result.save("ours.vtu")
        assert ketmesh.diff(ketmesh.read("ours.vtu"), ketmesh.read("theirs.vtu")).equal
    elif ending == "vtp":
        result.save("ours.vtp")
        theirs, ours = ketmesh.read_surface("theirs.vtp"), ketmesh.read_surface("ours.vtp")
        np.testing.assert_array_equal(ours.points, theirs.points)
        np.testing.assert_array_equal(ours.triangles, theirs.triangles)
        for name, values in theirs.cell_data.items():
            np.testing.assert_array_equal(ours.cell_data[name], values)


@pytest.mark.parametrize("table, command", [("metric_table", ("quality", "--list")),
                                            ("limits", ("quality", "--list-limits")),
                                            ("presets", ("materials", "--list-presets"))])  # fmt: skip
def test_tables_are_the_programs(table, command):
    ours, (theirs,) = getattr(ketmesh, table)(), (v for v in program(*command).values() if isinstance(v, dict))
    assert ours.keys() == theirs.keys()
    assert compare(plain(ours), theirs) >= 3 * len(ours)


@pytest.mark.skipif(not has_page(), reason="the library was built without the page")
def test_page(tmp_path):
    said = program("view", LINEAR, "-o", tmp_path / "theirs.html", "--color", "Volume")
    assert compare(plain(ketmesh.read(LINEAR).view(tmp_path / "ours.html", color="Volume")), said) > 5
    assert (tmp_path / "ours.html").read_bytes() == (tmp_path / "theirs.html").read_bytes()


@pytest.mark.skipif(not has_page(), reason="the library was built without the page")
def test_page_in_a_notebook(tmp_path):
    mesh = ketmesh.read(LINEAR)
    report = mesh.view(tmp_path / "page.html")
    page = mesh.view()
    assert page.html == (tmp_path / "page.html").read_text("utf-8") and page.report.bytes == report.bytes
    frames = []
    reader = HTMLParser()
    reader.handle_starttag = lambda tag, attributes: frames.append((tag, dict(attributes)))
    reader.feed(page._repr_html_())
    (tag, attributes), = frames  # nothing of the page gets out of its frame
    assert tag == "iframe" and attributes["srcdoc"] == page.html
    assert attributes["sandbox"] == "allow-scripts allow-downloads"


def test_mesh_of_labels(tmp_path):
    said = program("mesh", LABELS, "-o", tmp_path / "theirs.vtu", "--size", 6, "--min-dihedral", 12)
    mesh = ketmesh.mesh(LABELS, 6, min_dihedral=12)
    assert compare(plain(mesh.report), said) > 20
    mesh.save(tmp_path / "ours.vtu")
    assert ketmesh.diff(ketmesh.read(tmp_path / "ours.vtu"), ketmesh.read(tmp_path / "theirs.vtu")).equal


def test_solver(tmp_path):
    case = tmp_path / "case.toml"
    case.write_text(ketmesh.examples.TEXT_OF_PULL)
    mesh = ketmesh.examples.bar()
    mesh.save(tmp_path / "bar.vtu")
    for name, dialect in (("deck.inp", "abaqus"), ("model.feb", "ccx")):
        options = ("--dialect", dialect) if name.endswith(".inp") else ()
        said = program("export", tmp_path / "bar.vtu", "--case", case, "-o", tmp_path / f"theirs-{name}", *options)
        report = mesh.export(tmp_path / f"ours-{name}", case, dialect=dialect)
        assert compare(plain(report), said) > 5
        texts = [(tmp_path / f"{whose}-{name}").read_text().replace(f"{whose}-", "") for whose in ("ours", "theirs")]
        assert texts[0] == texts[1]
    # On several threads the solver adds in another order each time: what it says differs in its last digits.
    said = program("solve", tmp_path / "bar.vtu", "--case", case, "-o", tmp_path / "solved.vtu")
    result = mesh.solve(case, keep=tmp_path / "run")
    assert compare(plain(result.report), said, tolerance=1e-4) >= 8
    assert result.balance < 1e-6 and result.reactions["base"][2] == pytest.approx(-100)
    theirs = ketmesh.read(tmp_path / "solved.vtu").point_data
    for name in ("displacement", "stress", "strain", "von_mises", "force"):
        np.testing.assert_allclose(getattr(result, name), theirs[name], rtol=0, atol=2e-5 * np.abs(theirs[name]).max())
    again = ketmesh.examples.bar()
    report = again.results(next((tmp_path / "run").glob("*.frd")))
    assert report.max_von_mises == result.report.max_von_mises
    np.testing.assert_array_equal(again.point_data["stress"], result.stress)
    # A bar under tension: 100 N on 10 mm x 10 mm.
    middle = np.abs(mesh.points[:, 2] - 15) < 1
    np.testing.assert_allclose(result.stress[middle, 2], 1.0, rtol=0.02)


def test_image_of_an_array_is_that_of_the_file():
    nibabel = read_nifti(IMAGE)
    for array in (nibabel[0], np.ascontiguousarray(nibabel[0])):
        given, read = ketmesh.read(LINEAR), ketmesh.read(LINEAR)
        given.materials(ketmesh.Image(array, nibabel[1], "RAS"), **LAW, bins=4, sampling="mean")
        read.materials(IMAGE, **LAW, bins=4, sampling="mean")
        np.testing.assert_array_equal(given.cell_data["grey"], read.cell_data["grey"])


def read_nifti(path):
    """Voxels and affine matrix of a file, by its header alone."""
    import gzip

    data = gzip.open(path).read()
    shape = np.frombuffer(data, "<i2", 3, 42)
    types = {2: "u1", 4: "<i2", 8: "<i4", 16: "<f4"}
    begin = int(np.frombuffer(data, "<f4", 1, 108)[0])
    voxels = np.frombuffer(data, types[int(np.frombuffer(data, "<i2", 1, 70)[0])], int(np.prod(shape)), begin)
    return voxels.reshape(shape, order="F"), np.frombuffer(data, "<f4", 12, 280).reshape(3, 4)
