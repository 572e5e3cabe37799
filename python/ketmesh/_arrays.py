# SPDX-License-Identifier: BSD-3-Clause
"""Arrays that come from outside."""

from __future__ import annotations

from typing import TypeVar

import numpy as np

T = TypeVar("T")


def unmasked(values: T, what: str) -> T:
    """The same values. Raises `ValueError` where some are masked: those have no values that could be taken."""
    if np.ma.is_masked(values):
        raise ValueError(f"{what} has masked values; numpy.ma.filled gives them values")
    return values
