# SPDX-License-Identifier: BSD-3-Clause
"""CT images and images of labels."""

from __future__ import annotations

import os
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _core
from ._arrays import unmasked


class Image:
    """An image: a value for each voxel, and where the voxels lie. Reading it once serves several meshes.

    Args:
        array: (i, j, k) numbers of 8 to 64 bits, in any layout; they are copied once.
        affine: (4, 4) or (3, 4): turns (i, j, k, 1) into x, y and z of the centre of that voxel, in the unit. Its
            axes must be perpendicular to each other.
        frame: of x and y, "RAS" or "LPS"; None for one that is not known. NIfTI's affine matrices are in RAS.
        unit: "m", "mm" or "um".

    Raises `ValueError` or `TypeError` for arrays of another shape or type or with masked values, `MeshError` for an
    affine matrix that places no image.

    >>> import numpy as np
    >>> ketmesh.Image(np.zeros((4, 5, 6), np.int16), np.diag([0.5, 0.5, 1, 1]), "RAS")
    <ketmesh.Image: 4 x 5 x 6 int16, 0.5 x 0.5 x 1 mm, RAS>
    """

    def __init__(self, array: ArrayLike, affine: ArrayLike, frame: str | None = None, unit: str = "mm") -> None:
        matrix = np.asarray(affine, dtype=np.float64)
        if matrix.shape not in ((4, 4), (3, 4)) or (matrix.shape == (4, 4) and (matrix[3] != (0, 0, 0, 1)).any()):
            raise ValueError("the affine matrix must have the shape (4, 4) with the last row 0, 0, 0, 1, or (3, 4)")
        voxels = np.asarray(unmasked(array, "the array"))
        if voxels.dtype == np.bool_:
            voxels = voxels.view(np.uint8)
        if not voxels.dtype.isnative:
            voxels = voxels.astype(voxels.dtype.newbyteorder("="))
        self._core = _core.make_image(voxels, matrix[:3].tolist(), frame, unit)

    @property
    def array(self) -> NDArray[Any]:
        """(i, j, k), in the type that they have: the voxels, where the image holds them. Read-only.

        >>> ketmesh.read_image("head_labels.nii.gz").array.max()
        3
        """
        return self._core.array

    @property
    def spacing(self) -> list[float]:
        """mm: the distances of voxels along i, j and k.

        >>> [round(length, 3) for length in ketmesh.read_image("head_ct.nii.gz").spacing]
        [1.914, 1.914, 1.5]
        """
        return self._core.spacing

    @property
    def affine(self) -> NDArray[np.float64]:
        """(4, 4) float64: turns (i, j, k, 1) into x, y and z of the centre of that voxel [mm] in the frame.

        >>> image = ketmesh.read_image("head_ct.nii.gz")
        >>> tuple(map(float, image.affine.diagonal().round(3)))
        (1.914, 1.914, 1.5, 1.0)
        """
        return np.array(self._core.affine)

    @property
    def frame(self) -> str | None:
        """Where x and y point in the body: "RAS", "LPS" or None."""
        return self._core.frame

    @property
    def note(self) -> str:
        """What the reader took for granted or left out; empty for nothing."""
        return self._core.note

    def __repr__(self) -> str:
        voxels = self.array
        size = " x ".join(map(str, voxels.shape))
        spacing = " x ".join(f"{length:.6g}" for length in self.spacing)
        file = f", {os.path.basename(self._core.file)!r}" if self._core.file else ""
        return f"<ketmesh.Image: {size} {voxels.dtype}, {spacing} mm, {self.frame or 'no frame'}{file}>"


def read_image(path: str | os.PathLike[str], unit: str = "mm", *, series: str = "") -> Image:
    """Reads a .nii, .nii.gz, .mha, .mhd or .vti file or a folder of DICOM slices.

    `unit` is the length unit of the file, "m", "mm" or "um"; `series` the identifier of the one to take of a folder
    with several. Raises `MeshFileError`.

    >>> ketmesh.read_image("head_ct.nii.gz")
    <ketmesh.Image: 89 x 118 x 108 int16, 1.91406 x 1.91406 x 1.5 mm, RAS, 'head_ct.nii.gz'>
    """
    image = Image.__new__(Image)
    image._core = _core.read_image(os.fspath(path), unit, series)
    return image


def as_image(image: Image | str | os.PathLike[str]) -> _core.Image:
    """The image, read where it is a path."""
    return image._core if isinstance(image, Image) else read_image(image)._core
