"""Errors, warnings, Ctrl-C, threads and memory."""

import gc
import os
import resource
import signal
import threading
import time

import numpy as np
import pytest

import ketmesh
from common import LINEAR, UNIT_TET


def test_errors_are_the_programs_line(tmp_path):
    with pytest.raises(ketmesh.MeshFileError) as raised:
        ketmesh.read(tmp_path / "none.vtu")
    assert isinstance(raised.value, OSError) and isinstance(raised.value, ketmesh.MeshError)
    assert str(raised.value).startswith(str(tmp_path / "none.vtu") + ": ")
    with pytest.raises(ketmesh.MeshError, match="unit"):
        ketmesh.read(LINEAR, unit="inch")
    with pytest.raises(ketmesh.MeshError, match="ScaledJacobian"):
        ketmesh.read(LINEAR).quality("ScaledJacobean")


def test_warnings_are_python_warnings():
    mesh = ketmesh.read(LINEAR)
    with pytest.warns(ketmesh.MeshWarning):
        mesh.cut((0, 0, 1), (0, 0, 1e4))


def large_mesh():
    mesh = ketmesh.read(LINEAR)
    for _ in range(2):
        mesh = mesh.to("tet10").to("tet4", split=True)
    return mesh


def test_ctrl_c_cancels_and_leaves_the_mesh():
    mesh = large_mesh()
    before = mesh.points
    threading.Timer(0.2, lambda: os.kill(os.getpid(), signal.SIGINT)).start()
    started = time.monotonic()
    with pytest.raises(KeyboardInterrupt):
        while time.monotonic() - started < 60:
            mesh.to("tet10")
    np.testing.assert_array_equal(mesh.points, before)


def test_threads_work_on_meshes_at_the_same_time():
    shared, results = ketmesh.read(LINEAR), []
    expected = shared.quality("Volume")

    def work(mesh):
        for _ in range(5):
            results.append(mesh.quality("Volume"))
            mesh.cell_data["mine"] = results[-1]

    meshes = [shared, shared, ketmesh.read(LINEAR)]
    threads = [threading.Thread(target=work, args=(mesh,)) for mesh in meshes]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(results) == 15
    for values in results:
        np.testing.assert_array_equal(values, expected)


def test_memory_does_not_grow():
    def cycle():
        mesh = ketmesh.read(LINEAR)
        mesh.quality()
        mesh.surfaces(interfaces=True)
        with pytest.raises(ketmesh.MeshError):
            ketmesh.Mesh(UNIT_TET, {"tet4": [[0, 1, 2, 9]]})

    def resident():
        gc.collect()
        with open("/proc/self/statm") as statm:
            return int(statm.read().split()[1]) * resource.getpagesize()

    for _ in range(40):
        cycle()
    before = resident()
    for _ in range(160):
        cycle()
    # A single mesh that was kept would take 2 MB a cycle.
    assert resident() - before < 40e6
