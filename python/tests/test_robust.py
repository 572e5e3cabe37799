# SPDX-License-Identifier: BSD-3-Clause
"""Errors, warnings, Ctrl-C, threads, memory, and the package that pip makes."""

import gc
import os
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time
import warnings

import numpy as np
import pytest

import ketmesh
from common import DATA, IMAGE, LINEAR, UNIT_TET


def test_errors_are_the_programs_line(tmp_path):
    with pytest.raises(ketmesh.MeshFileError) as raised:
        ketmesh.read(tmp_path / "none.vtu")
    assert isinstance(raised.value, OSError) and isinstance(raised.value, ketmesh.MeshError)
    said = subprocess.run([os.environ["KETMESH"], "info", tmp_path / "none.vtu"], capture_output=True, text=True)
    assert said.stderr == f"ketmesh: {raised.value}\n"
    with pytest.raises(ketmesh.MeshError, match="place"):
        ketmesh.Case("[[fix]]\nplace = 'nowhere'\naxes = 'x'")


mesh = ketmesh.examples.bar()
MASKED = np.ma.masked_equal(np.arange(5), 3)
REFUSED = {
    "masked values of elements": (lambda: mesh.cell_data.update(x=MASKED), ValueError, "'x' has masked values"),
    "masked voxels": (lambda: ketmesh.Image(MASKED.reshape(1, 1, 5), np.eye(4)), ValueError, "masked"),
    "a masked point": (lambda: ketmesh.Surface(np.ma.masked_equal(UNIT_TET, 1), [[0, 1, 2]]), ValueError, "of points has"),
    "a masked corner": (lambda: ketmesh.Mesh(UNIT_TET, {"tet4": MASKED[None, :4]}), ValueError, "'tet4' has masked"),
    "no mesh to merge with": (lambda: mesh.merge(None), TypeError, "not 'NoneType'"),
    "a mesh merged with itself": (lambda: mesh.merge(mesh), ketmesh.MeshError, "with itself; a copy"),
    "a unit that there is not": (lambda: ketmesh.read(LINEAR, unit="inch"), ketmesh.MeshError, "unit"),
    "a frame that there is not": (lambda: ketmesh.read(LINEAR, frame="LAS"), ketmesh.MeshError, "LPS, RAS"),
    "a metric's name with a slip": (lambda: mesh.quality("ScaledJacobean"), ketmesh.MeshError, "ScaledJacobian"),
    "several metrics": (lambda: mesh.quality("Volume,Folded"), ketmesh.MeshError, "one metric"),
    "bins that are no bins": (lambda: mesh.quality_report(width=-1), ketmesh.MeshError, "above 0"),
    "threads that there cannot be": (lambda: mesh.quality("Volume", threads=5000), ketmesh.MeshError, "1024"),
    "a limit that is none": (lambda: mesh.quality_report(limits=["Volume>3"]), ketmesh.MeshError, "limit"),
    "a kind to convert to": (lambda: mesh.to("hex8"), ketmesh.MeshError, "tet10"),
    "a sub-volume that there is not": (lambda: mesh.remove(["none of that"]), ketmesh.MeshError, "none of that"),
    "a field that there is not": (lambda: ketmesh.read(LINEAR).isosurface("x", 1), ketmesh.MeshError, "x"),
    "an option that there is not": (lambda: mesh.materials(IMAGE, bin=4), TypeError, "bin"),
    "a way of sampling": (lambda: mesh.materials(IMAGE, sampling="middle"), ketmesh.MeshError, "centroid"),
    "no frame to turn from": (lambda: mesh.to_frame("LPS"), ketmesh.MeshError, "frame"),
    "a solver that is missing": (lambda: without_path(mesh.solve), ketmesh.MeshError, "ccx"),
    "an image of two dimensions": (lambda: ketmesh.Image(np.zeros((3, 3)), np.eye(4)), ValueError, r"\(i, j, k\)"),
    "an empty image": (lambda: ketmesh.Image(np.zeros((3, 0, 3)), np.eye(4)), ketmesh.MeshError, "no voxels"),
    "complex voxels": (lambda: ketmesh.Image(np.zeros((3, 3, 3), complex), np.eye(4)), TypeError, "complex"),
    "an affine that shears": (lambda: ketmesh.Image(np.zeros((3, 3, 3)), np.eye(4) + np.eye(4, k=1)[:, [0, 1, 2, 0]]),
                              ketmesh.MeshError, "perpendicular"),
    "an affine without an axis": (lambda: ketmesh.Image(np.zeros((3, 3, 3)), np.diag([1, 0, 1, 1])),
                                  ketmesh.MeshError, "affine"),
    "an affine of another shape": (lambda: ketmesh.Image(np.zeros((3, 3, 3)), np.eye(3)), ValueError, r"\(4, 4\)"),
    "triangles beyond the points": (lambda: ketmesh.Surface(UNIT_TET, [[0, 1, 4]]), ketmesh.MeshError, "4"),
    "triangles of four": (lambda: ketmesh.Surface(UNIT_TET, [[0, 1, 2, 3]]), ValueError, r"\(n, 3\)"),
    "values of another length": (lambda: mesh.cell_data.update(a=[1, 2]), ValueError, "rows"),
    "values of three dimensions": (lambda: mesh.cell_data.update(a=np.zeros((len(mesh.subvolume_ids), 2, 2))),
                                   ValueError, "rows"),
    "what the mesh makes itself": (lambda: mesh.cell_data.update(subvolume=np.zeros(len(mesh.subvolume_ids))),
                                   ketmesh.MeshError, "subvolume"),
    "a name that there is not": (lambda: mesh.cell_data["none of that name"], KeyError, "none"),
}  # fmt: skip


def without_path(solve):
    path = os.environ.pop("PATH")
    try:
        solve(ketmesh.examples.PULL)
    finally:
        os.environ["PATH"] = path


@pytest.mark.parametrize("case", REFUSED)
def test_what_cannot_be_used_raises(case):
    call, error, words = REFUSED[case]
    before = dict(mesh.cell_data)
    with pytest.raises(error, match=words):
        call()
    after = dict(mesh.cell_data)
    assert before.keys() == after.keys() and all((before[name] == after[name]).all() for name in before)


def test_warnings_are_python_warnings():
    linear = ketmesh.read(LINEAR)
    with pytest.warns(ketmesh.MeshWarning) as warned:
        linear.cut((0, 0, 1), (0, 0, 1e4))
    assert warned[0].filename == __file__
    with warnings.catch_warnings(), pytest.raises(ketmesh.MeshWarning):
        warnings.simplefilter("error")
        linear.cut((0, 0, 1), (0, 0, 1e4))


def test_what_comes_out_is_read_only():
    surface = mesh.boundary()
    arrays = [mesh.points, mesh.subvolume_ids, *mesh.cells.values(), *mesh.cell_data.values(), mesh.quality("Volume")]
    arrays += [surface.points, surface.triangles, surface.elements, surface.nodes, surface.faces]
    for array in arrays:
        assert not array.flags.writeable
        with pytest.raises(ValueError):
            array[0] = 0


def test_ctrl_c_cancels_and_leaves_the_mesh():
    large = ketmesh.read(LINEAR).to("tet10").to("tet4", split=True)
    image = ketmesh.read_image(IMAGE)

    def assign(bins):
        large.materials(image, law=(1, 0.001, 1, 0, 0), modulus=(3000, 2), bins=bins, sampling="mean", order=6)

    started = time.monotonic()
    assign(20)
    seconds = time.monotonic() - started
    before = dict(large.cell_data)
    threading.Timer(0.3 * seconds, lambda: os.kill(os.getpid(), signal.SIGINT)).start()
    with pytest.raises(KeyboardInterrupt):
        assign(5)
        time.sleep(60)  # the job was faster this time, and the signal ends this
    after = dict(large.cell_data)
    if len(np.unique(after["material"])) > 5:
        assert before.keys() == after.keys()
        for name in before:
            np.testing.assert_array_equal(before[name], after[name])


def test_threads_work_on_meshes_at_the_same_time():
    shared, results = ketmesh.read(LINEAR), []
    expected = shared.quality("Volume")

    def work(mine):
        for _ in range(5):
            results.append(mine.quality("Volume"))
            mine.cell_data["mine"] = results[-1]

    threads = [threading.Thread(target=work, args=(each,)) for each in (shared, shared, ketmesh.read(LINEAR))]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(results) == 15
    for values in results:
        np.testing.assert_array_equal(values, expected)


def test_the_interpreter_runs_while_a_job_does():
    large = ketmesh.read(LINEAR).to("tet10")
    thread = threading.Thread(target=large.quality_report, args=("all",))
    thread.start()
    ticks = 0
    while thread.is_alive():
        time.sleep(0.001)
        ticks += 1
    assert ticks > 10  # while the job keeps the interpreter there is none


@pytest.mark.filterwarnings("ignore::ketmesh.MeshWarning")
def test_memory_does_not_grow(tmp_path):
    file = tmp_path / "bar.kmesh"
    ketmesh.examples.bar((6, 6, 18)).save(file)
    image = ketmesh.Image(np.zeros((9, 9, 9), np.int16), np.diag([10.0, 10, 20, 1]))

    def cycle():
        mine = ketmesh.read(file)
        mine.cell_data["a"] = mine.quality("Volume")
        mine.materials(image, law=(1, 0.001, 1, 0, 0), modulus=(3000, 2), bins=1)
        mine.surfaces(interfaces=True)["bar-"].points.sum()
        ketmesh.Mesh(mine.points, mine.cells, dict(mine.cell_data), dict(mine.point_data))
        mine.cut((0, 0, 1), (0, 0, 1e4))
        with pytest.raises(ketmesh.MeshError):
            ketmesh.Mesh(UNIT_TET, {"tet4": [[0, 1, 2, 9]]})

    def resident():
        gc.collect()
        with open("/proc/self/statm") as statm:
            return int(statm.read().split()[1]) * resource.getpagesize()

    for _ in range(20):
        cycle()
    before = resident()
    for _ in range(200):
        cycle()
    # An array of this mesh that was kept would take 30 KB a cycle, the mesh 1 MB.
    assert resident() - before < 4e6


def test_pip_installs_it(tmp_path):
    """What the sources say is a package; the module is that of this build."""
    source = tmp_path / "source"
    source.mkdir()
    for name in ("setup.py", "pyproject.toml"):
        shutil.copy(DATA.parent / name, source)
    shutil.copytree(DATA.parent / "python", source / "python")
    pip = [sys.executable, "-m", "pip", "install", "--no-build-isolation", "--no-deps", "--no-index", "--quiet"]
    subprocess.run([*pip, "--target", tmp_path / "site", source], check=True)
    code = f"import ketmesh; assert ketmesh.read({str(LINEAR)!r}).volume > 0; print(ketmesh.__file__)"
    environment = {"PATH": os.environ["PATH"], "PYTHONPATH": str(tmp_path / "site")}
    ran = subprocess.run([sys.executable, "-c", code], env=environment, check=True, capture_output=True, text=True)
    assert ran.stdout.startswith(str(tmp_path / "site"))
