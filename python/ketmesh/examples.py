# SPDX-License-Identifier: BSD-3-Clause
"""Small models to try things with."""

from __future__ import annotations

import itertools

import numpy as np

from ._case import Case
from ._mesh import Mesh

# The lower end of a bar held, the upper one pulled by 100 N.
TEXT_OF_PULL = """
    [place.base]
    axis = "z-"
    within = 0.1
    [place.top]
    axis = "z+"
    within = 0.1
    [[fix]]
    place = "base"
    axes = "xyz"
    [[force]]
    place = "top"
    total = [0, 0, 100]
    """
PULL = Case(TEXT_OF_PULL)


def bar(size: tuple[int, int, int] = (2, 2, 6), edge: float = 5.0) -> Mesh:
    """A bar of ten-node tetrahedra with E = 1000 MPa, made of so many cubes along each axis with that edge [mm].

    >>> ketmesh.examples.bar()
    <ketmesh.Mesh: 144 tet10, 325 nodes, 1 sub-volume>
    """
    shape = tuple(n + 1 for n in size)
    points = edge * np.stack(np.meshgrid(*map(np.arange, shape), indexing="ij"), axis=-1).reshape(-1, 3)
    # The six tetrahedra of a cube along its diagonal: one for each order of the axes.
    corners = []
    for order in itertools.permutations(range(3)):
        steps = np.cumsum([np.zeros(3, int)] + [np.eye(3, dtype=int)[axis] for axis in order], axis=0)
        even = np.linalg.det(np.eye(3)[list(order)]) > 0
        corners.append(steps if even else steps[[0, 2, 1, 3]])
    cubes = np.stack(np.meshgrid(*map(np.arange, size), indexing="ij"), axis=-1).reshape(-1, 1, 1, 3)
    cells = np.ravel_multi_index(tuple(np.moveaxis(cubes + np.array(corners), -1, 0)), shape).reshape(-1, 4)
    made = Mesh(points, {"tet4": cells}, {"subvolume": np.zeros(len(cells), int)}, subvolume_names=["bar"]).to("tet10")
    made.materials(constants={"bar": (1.0, 1000.0, 0.3)})
    return made
