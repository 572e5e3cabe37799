#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Writes python/ketmesh/_core.pyi, the types of the module inside the Python package, by what the module says itself.

  PYTHONPATH=build/test/python /usr/bin/python3 tools/python_stubs.py

The test `python.docs` tells when the file and the module differ.
"""

import inspect
import re
from pathlib import Path

from ketmesh import _core

STUBS = Path(__file__).resolve().parent.parent / "python" / "ketmesh" / "_core.pyi"

HEAD = '''# SPDX-License-Identifier: BSD-3-Clause
"""The jobs of KetSDK.Mesh on handles of meshes; the package ketmesh is made for people."""

from typing import Any, type_check_only

import numpy as np
from numpy.typing import NDArray

ON_ELEMENTS: int
ON_NODES: int

@type_check_only
class _Metaclass(type): ...
'''

# What the module says less precisely than it is.
RESULTS = {
    "boundary": "tuple[SurfaceModel, Boundary]",
    "cell_ids": "dict[str, NDArray[np.int64]]",
    "cells": "dict[str, NDArray[np.int64]]",
    "convert": "tuple[Model, Convert]",
    "cut": "tuple[SurfaceModel, Cut]",
    "explode": "tuple[SurfaceModel, Explode]",
    "grow": "tuple[SurfaceModel, Grow]",
    "iso": "tuple[SurfaceModel, Isosurface]",
    "kinds": "dict[str, int]",
    "limits": "dict[str, LimitSet]",
    "mesh_labels": "tuple[Model, MeshFromLabels]",
    "metrics": "dict[str, Metric]",
    "points": "NDArray[np.float64]",
    "presets": "dict[str, Preset]",
    "quality_values": "NDArray[np.float64]",
    "remove": "tuple[Model, Remove]",
    "subvolume_ids": "NDArray[np.int32]",
    "surfaces": "tuple[SurfaceModel, SurfacesReport]",
    "weld": "tuple[Model, Weld]",
}
# What copies a class, and its arguments.
COPIES = {"__copy__": "self", "__deepcopy__": "self, memo: dict[Any, Any]"}
# Arguments that may be None.
OPTIONAL = {("export_deck", "case"), ("colors", "model"), ("label", "surface"), ("grow", "surface"), ("materials", "image")}


def type_of(text: str) -> str:
    text = text.strip().replace("ketmesh._core.", "")
    text = re.sub(r"\[\d+\]", "", text)  # lengths of arrays
    text = re.sub(r"\b(List|Tuple|Dict)\b", lambda word: word.group(1).lower(), text)
    text = re.sub(r"Optional\[(\w+(?:\[[^\[\]]*\])?)\]", r"\1 | None", text)
    text = text.replace("numpy.ndarray", "NDArray[Any]")
    text = re.sub(r"\b(handle|object)\b", "Any", text)
    return re.sub(r"\bdict\b(?!\[)", "dict[str, Any]", text)


def arguments(text: str) -> list[str]:
    """What stands between commas that are in no brackets."""
    found, depth = [""], 0
    for letter in text:
        depth += (letter in "[(") - (letter in "])")
        if letter == "," and depth == 0:
            found.append("")
        else:
            found[-1] += letter
    return [each for each in found if each]


def function(name: str, says: str) -> str:
    given, result = re.match(rf"{name}\((.*)\) -> (.*)", says).groups()
    parts = []
    for each in arguments(given):
        argument, kind = each.split(":", 1)
        argument = argument.strip()
        parts.append(f"{argument}: {type_of(kind)}" + (" | None" if (name, argument) in OPTIONAL else ""))
    return f"def {name}({', '.join(parts)}) -> {RESULTS.get(name, type_of(result))}: ...\n"


def class_of(name: str, made: type) -> str:
    if issubclass(made, BaseException):
        return f"\nclass {name}({', '.join(base.__name__ for base in made.__bases__)}): ...\n"
    lines = []
    for member, value in vars(made).items():
        if isinstance(value, property):
            kind = type_of(value.fget.__doc__.splitlines()[0].split("->", 1)[1])
            lines.append(f"    @property\n    def {member}(self) -> {kind}: ...\n")
        elif member == "as_dict":
            lines.append("    def as_dict(self) -> dict[str, Any]: ...\n")
        elif member in COPIES:
            lines.append(f"    def {member}({COPIES[member]}) -> {name}: ...\n")
        elif member == "_fields":
            lines.append("    _fields: tuple[str, ...]\n")
    return f"\nclass {name}(metaclass=_Metaclass):" + ("\n" + "".join(lines) if lines else " ...\n")


def main() -> None:
    public = {name: value for name, value in vars(_core).items() if not name.startswith("__")}
    classes = [class_of(name, value) for name, value in public.items() if inspect.isclass(value)]
    functions = [function(n, v.__doc__) for n, v in public.items() if callable(v) and not inspect.isclass(v)]
    STUBS.write_text(HEAD + "".join(classes) + "\n" + "".join(functions))


main()
