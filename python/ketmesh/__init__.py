# SPDX-License-Identifier: BSD-3-Clause
"""Volumetric finite-element meshes made from CT images.

>>> import ketmesh
>>> mesh = ketmesh.read("head_small_tet4.vtu")
>>> mesh
<ketmesh.Mesh: 46924 tet4, 9282 nodes, 3 sub-volumes, 'head_small_tet4.vtu'>
>>> mesh.quality("ScaledJacobian").shape
(46924,)

Lengths are in mm. Arrays that come out of a mesh are read-only copies; values go in through `cell_data` and
`point_data`. What a job changes it changes in the mesh; what it makes it returns, with what it has to say as the
attribute `report`. A job that cannot be done raises `MeshError`, with one line that says why; what should make you
doubt a result is a `MeshWarning`. Ctrl-C cancels a job.
"""

from ._case import Case, Result
from ._core import MeshError, MeshFileError, MeshWarning
from ._image import Image, read_image
from ._mesh import Mesh, colors, diff, from_meshio, from_vtk, mesh, read, set_threads
from ._page import Page
from ._surface import Surface, Surfaces, read_surface
from ._tables import limits, metric_table, metrics, presets
from ._timing import Timing
from . import examples

__all__ = [
    "Case",
    "Image",
    "Mesh",
    "MeshError",
    "MeshFileError",
    "MeshWarning",
    "Page",
    "Result",
    "Surface",
    "Surfaces",
    "Timing",
    "colors",
    "diff",
    "examples",
    "from_meshio",
    "from_vtk",
    "limits",
    "mesh",
    "metric_table",
    "metrics",
    "presets",
    "read",
    "read_image",
    "read_surface",
    "set_threads",
]
