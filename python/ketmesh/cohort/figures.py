# SPDX-License-Identifier: BSD-3-Clause
"""The figures of a report: its numbers, by the keys that lead to them."""

from __future__ import annotations

from collections.abc import Iterator

LONGEST_VECTOR = 9  # lists of more numbers are data, not figures
NAMES = ("name", "label", "id", "element_set", "number")  # what tells the entries of a list apart, in this order

Figure = bool | int | float


def figures_of(steps: dict[str, dict]) -> dict[str, Figure]:
    """`step.key` and so on to the figures of all steps.

    Entries of a list go by their name, label or id; short lists of numbers by their index. Longer lists, and those
    whose entries have nothing that tells them apart, are left out.
    """
    return {key: value for step, report in steps.items() for key, value in _walk(step, report)}


def _walk(prefix: str, value: object) -> Iterator[tuple[str, Figure]]:
    if isinstance(value, (bool, int, float)):
        yield prefix, value
    elif isinstance(value, dict):
        for key, inner in value.items():
            yield from _walk(f"{prefix}.{key}", inner)
    elif isinstance(value, list):
        for key, inner in _entries(value):
            yield from _walk(f"{prefix}.{key}", inner)


def _entries(values: list) -> list[tuple[object, object]]:
    if all(isinstance(value, (int, float)) for value in values):
        return list(enumerate(values)) if len(values) <= LONGEST_VECTOR else []
    if all(isinstance(value, dict) for value in values):
        for name in NAMES:
            names = [value.get(name) for value in values]
            if all(isinstance(n, (str, int)) for n in names) and len(set(names)) == len(names):
                return [(n, {k: v for k, v in value.items() if k != name}) for n, value in zip(names, values)]
    return []
