"""CT images."""

from __future__ import annotations

import os

from . import _core


class Image:
    """A CT image: a grey value for each voxel, and where the voxels lie.

    Reading it once serves several meshes.
    """

    def __init__(self, core: _core.Image) -> None:
        self._core = core

    def __repr__(self) -> str:
        return f"<ketmesh.Image: {self._core.file!r}>"


def read_image(path: str | os.PathLike[str], unit: str = "mm") -> Image:
    """Reads a .nii, .nii.gz, .mha, .mhd or .vti file or a folder of DICOM slices.

    `unit` is the length unit of the file, "m", "mm" or "um". Raises `MeshFileError`.

    >>> read_image("head_ct.nii.gz")
    <ketmesh.Image: 'head_ct.nii.gz'>
    """
    return Image(_core.read_image(os.fspath(path), unit))


def as_image(image: Image | str | os.PathLike[str]) -> _core.Image:
    """The image, read where it is a path."""
    return image._core if isinstance(image, Image) else read_image(image)._core
