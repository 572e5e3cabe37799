# SPDX-License-Identifier: BSD-3-Clause
"""What keeps its nature through copies and pickles."""

from __future__ import annotations

from functools import cache
from typing import Any

import numpy as np


class Kept:
    """A report of a job that came from a pickle: it has the attributes of the job's own class."""

    _fields: tuple[str, ...]

    def __init__(self, values: dict[str, Any]) -> None:
        self.__dict__.update(values, _fields=tuple(values))

    def __setattr__(self, name: str, _: object) -> None:
        raise AttributeError(f"the attribute {name!r} of a report cannot be set")

    def __copy__(self) -> Kept:
        return self

    def __deepcopy__(self, _: dict[int, Any]) -> Kept:
        return self

    def __reduce__(self) -> tuple[Any, ...]:
        return kept, (type(self).__name__, self.as_dict())

    def __repr__(self) -> str:
        return f"{type(self).__name__}({', '.join(f'{name}={value!r}' for name, value in self.as_dict().items())})"

    def as_dict(self) -> dict[str, Any]:
        """The attributes by name."""
        return {name: self.__dict__[name] for name in self._fields}


@cache
def _class_named(name: str) -> type[Kept]:
    return type(name, (Kept,), {"__doc__": Kept.__doc__})


def kept(name: str, values: dict[str, Any]) -> Kept:
    """The report of a class of that name with these attributes."""
    return _class_named(name)(values)


class ReadOnlyArrays:
    """The arrays that its class declares are read-only; NumPy alone would forget that in copies and pickles."""

    def __setstate__(self, state: dict[str, Any]) -> None:
        for name in type(self).__annotations__:
            value = state.get(name)
            for array in value.values() if isinstance(value, dict) else [value]:
                if isinstance(array, np.ndarray):
                    array.flags.writeable = False
        self.__dict__.update(state)
