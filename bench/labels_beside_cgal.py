#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""Meshes one image of labels with `ketmesh mesh` and with CGAL's mesher, each in a process of its own on one
core, and prints what came out side by side. CGAL is asked for edges such that it makes about as many elements.

Angles and volumes of both meshes are computed here, from their nodes. Needs Debian's python3-pygalmesh.
"""
import argparse
import gzip
import json
import os
import re
import subprocess
import sys
import tempfile
import time

import numpy

# About so many elements CGAL makes in a cube of the largest circumradius; corrected by what it really makes.
ELEMENTS_PER_CUBE = 22.0
NEAR_ENOUGH = 0.15 # of the number of elements


def read_labels(path):
    """The voxels of a NIfTI image of 8 or 16 bit, the first axis first, and their size."""
    data = (gzip.open if path.endswith(".gz") else open)(path, "rb").read()
    size = numpy.frombuffer(data, "<i2", 8, 40)[1:4]
    kind = {2: "<u1", 4: "<i2", 512: "<u2"}[int(numpy.frombuffer(data, "<i2", 1, 70)[0])]
    voxel = [float(x) for x in numpy.frombuffer(data, "<f4", 8, 76)[1:4]]
    start = int(numpy.frombuffer(data, "<f4", 1, 108)[0])
    labels = numpy.frombuffer(data, kind, int(numpy.prod(size)), start).reshape(size, order="F")
    return labels.astype("uint8"), voxel


def read_mesh(path):
    """Nodes, elements and sub-volumes of a .vtu file as ketmesh writes it: raw arrays, each behind its length."""
    data = open(path, "rb").read()
    start = data.index(b"_", data.index(b"<AppendedData")) + 1

    def array(name, kind):
        offset = start + int(re.search(rb'Name="%s"[^>]*offset="(\d+)"' % name, data[:start])[1])
        size = int(numpy.frombuffer(data, "<u8", 1, offset)[0])
        return numpy.frombuffer(data[offset + 8:offset + 8 + size], kind)

    return (array(b"Points", "<f8").reshape(-1, 3), array(b"connectivity", "<i4").reshape(-1, 4),
            array(b"subvolume", "<i4"))


def run_cgal(options):
    """The other process: meshes the image and leaves nodes, elements and labels in a file."""
    import pygalmesh

    labels, voxel = read_labels(options.labels)
    begin = time.process_time()
    mesh = pygalmesh.generate_from_array(
        numpy.asfortranarray(labels), voxel, max_cell_circumradius=options.circumradius,
        max_radius_surface_delaunay_ball=options.circumradius, max_facet_distance=0.5 * min(voxel),
        max_circumradius_edge_ratio=3.0, min_facet_angle=25.0, verbose=False)
    seconds = time.process_time() - begin
    places = [i for i, cells in enumerate(mesh.cells) if cells.type == "tetra"]
    numpy.savez(options.cgal, points=mesh.points,
                cells=numpy.concatenate([mesh.cells[i].data for i in places]),
                labels=numpy.concatenate([mesh.cell_data["medit:ref"][i] for i in places]),
                seconds=seconds)


def run(command):
    """Runs a process on one core; its standard output and its seconds on the processor."""
    read, write = os.pipe()
    process = subprocess.Popen(command, stdout=write, stderr=subprocess.DEVNULL, preexec_fn=lambda: os.sched_setaffinity(0, {0}))
    os.close(write)
    with os.fdopen(read) as output:
        text = output.read()
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit(f"{command[0]} failed")
    return text, usage.ru_utime + usage.ru_stime


def volumes_of(points, cells):
    a, b, c, d = (points[cells[:, k]] for k in range(4))
    return numpy.abs(numpy.einsum("ij,ij->i", b - a, numpy.cross(c - a, d - a))) / 6.0


def dihedral_angles(points, cells):
    """The smallest dihedral angle of each tetrahedron, in degrees."""
    corners = [points[cells[:, k]] for k in range(4)]
    normals = []
    for k in range(4):
        p, q, r = (corners[i] for i in range(4) if i != k)
        normal = numpy.cross(q - p, r - p)
        inwards = numpy.einsum("ij,ij->i", normal, corners[k] - p) > 0.0
        normal[inwards] *= -1.0
        normals.append(normal / numpy.linalg.norm(normal, axis=1)[:, None])
    smallest = numpy.full(len(cells), 180.0)
    for i in range(4):
        for j in range(i):
            cosine = numpy.clip(-numpy.einsum("ij,ij->i", normals[i], normals[j]), -1.0, 1.0)
            smallest = numpy.minimum(smallest, numpy.degrees(numpy.arccos(cosine)))
    return smallest


def row(name, seconds, points, cells, labels, voxel_volumes):
    angles = dihedral_angles(points, cells)
    volumes = volumes_of(points, cells)
    errors = ", ".join(f"{100 * (volumes[labels == label].sum() / expected - 1):+.2f}"
                       for label, expected in voxel_volumes.items())
    print(f"| {name} | {len(cells)} | {seconds:.1f} | {angles.min():.2f} |"
          f" {numpy.percentile(angles, 5):.1f} | {(angles < 10).sum()} | {errors} |", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("labels", help="image of labels, .nii or .nii.gz with axes along x, y and z")
    parser.add_argument("--size", type=float, default=4.0, help="of ketmesh mesh, mm")
    parser.add_argument("--ketmesh", default="ketmesh", help="the program")
    parser.add_argument("--circumradius", type=float, help="where the search for CGAL's begins, mm")
    parser.add_argument("--cgal", help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.cgal:
        return run_cgal(options)
    labels, voxel = read_labels(options.labels)
    voxel_volumes = {label: numpy.count_nonzero(labels == label) * float(numpy.prod(voxel))
                     for label in numpy.unique(labels) if label != 0}
    print("| mesher | elements | seconds of one core | smallest dihedral | 5th percentile | below 10 | volumes, % |")
    print("|---|---|---|---|---|---|---|")
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "ours.vtu")
        text, seconds = run([options.ketmesh, "mesh", options.labels, "-o", path, "--size", str(options.size),
                             "--threads", "1", "--json"])
        report = json.loads(text)
        points, cells, sub_volumes = read_mesh(path)
        numbers = numpy.array([int(s["name"].split()[1]) for s in report["subvolumes"]])
        row("ketmesh, with reading and writing", seconds, points, cells, numbers[sub_volumes], voxel_volumes)
        radius = options.circumradius or (sum(voxel_volumes.values()) * ELEMENTS_PER_CUBE / len(cells)) ** (1 / 3)
        while True:
            path = os.path.join(folder, "cgal.npz")
            run([sys.executable, __file__, options.labels, "--cgal", path, "--circumradius", str(radius)])
            made = numpy.load(path)
            ratio = len(made["cells"]) / len(cells)
            if abs(ratio - 1.0) < NEAR_ENOUGH:
                break
            radius *= ratio ** 0.4
        row(f"CGAL, circumradius {radius:.2f} mm, meshing only", float(made["seconds"]), made["points"],
            made["cells"], made["labels"], voxel_volumes)


if __name__ == "__main__":
    main()
