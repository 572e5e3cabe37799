# SPDX-License-Identifier: BSD-3-Clause
"""Named values on the elements or the nodes of a mesh."""

from __future__ import annotations

from collections.abc import Iterator, MutableMapping
from typing import Any

from numpy.typing import ArrayLike, NDArray

from . import _core
from ._arrays import unmasked


class Values(MutableMapping[str, "NDArray[Any]"]):
    """Arrays by name, one row for each element or node.

    What is read is a read-only copy; what is set is copied into the mesh, unless values are masked (`ValueError`). Arrays that the mesh makes of what it
    holds (`subvolume`, `material`, `density`, ...) cannot be set; `grey` of the elements can. Copies and pickles are
    dictionaries of the arrays.
    """

    def __init__(self, model: _core.Model, place: int) -> None:
        self._model = model
        self._place = place

    def __getitem__(self, name: str) -> NDArray[Any]:
        return _core.array(self._model, self._place, name)

    def __setitem__(self, name: str, values: ArrayLike) -> None:
        _core.set_array(self._model, self._place, name, unmasked(values, f"the array {name!r}"))

    def __delitem__(self, name: str) -> None:
        if not _core.remove_array(self._model, self._place, name):
            raise KeyError(name)

    def __iter__(self) -> Iterator[str]:
        return iter(_core.array_names(self._model, self._place))

    def __len__(self) -> int:
        return len(_core.array_names(self._model, self._place))

    def __reduce__(self) -> tuple[Any, ...]:
        return dict, (dict(self),)

    def __repr__(self) -> str:
        place = "elements" if self._place == _core.ON_ELEMENTS else "nodes"
        return f"<ketmesh.Values of {_core.rows(self._model, self._place)} {place}: {', '.join(map(repr, self)) or 'none'}>"
