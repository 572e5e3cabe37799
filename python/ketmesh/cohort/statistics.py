# SPDX-License-Identifier: BSD-3-Clause
"""How figures lie over a cohort: median, spread, histogram, and what lies far out."""

from __future__ import annotations

import math
from dataclasses import dataclass, field

FEWEST_VALUES = 8  # with fewer nothing can be called far out
FAR_OUT = 3.5
BINS = 24
# 0.6745 is the 75th percentile of the normal distribution: with it the median absolute deviation estimates its
# standard deviation. Where more than half of the values are equal, sqrt(pi / 2) times the mean absolute deviation does.
# B. Iglewicz, D. Hoaglin, How to Detect and Handle Outliers, ASQC 1993.
NORMAL_MAD = 0.6745
NORMAL_MEAN_DEVIATION = math.sqrt(math.pi / 2)


@dataclass
class Distribution:
    """A figure over all cases that have it."""

    name: str
    count: int
    minimum: float
    median: float
    maximum: float
    spread: float  # a robust standard deviation; 0 where all values are the same or there are too few
    edges: tuple[float, float] = (0.0, 0.0)  # of the histogram, which holds what is not far out
    bins: list[int] = field(default_factory=list)
    below: int = 0  # far out, not in the histogram
    above: int = 0

    def score(self, values):
        """Robust z-scores of values, an array with NaN where there is none."""
        import numpy

        if not self.spread:
            return numpy.full(len(values), numpy.nan)
        return (values - self.median) / self.spread


def distribution(name: str, values) -> Distribution:
    """Of an array with NaN where a case has no value; at least one has."""
    import numpy

    present = values[numpy.isfinite(values)]
    low, median, high = float(present.min()), float(numpy.median(present)), float(present.max())
    found = Distribution(name, len(present), low, median, high, _spread(present, median))
    found.edges = (low, high)
    if found.spread:
        found.edges = (max(low, median - FAR_OUT * found.spread), min(high, median + FAR_OUT * found.spread))
    inside = present[(present >= found.edges[0]) & (present <= found.edges[1])]
    found.below, found.above = int((present < found.edges[0]).sum()), int((present > found.edges[1]).sum())
    if found.edges[0] < found.edges[1]:
        found.bins = [int(n) for n in numpy.histogram(inside, BINS, found.edges)[0]]
    return found


def _spread(present, median: float) -> float:
    import numpy

    if len(present) < FEWEST_VALUES:
        return 0.0
    deviations = numpy.abs(present - median)
    if mad := float(numpy.median(deviations)):
        return mad / NORMAL_MAD
    return float(deviations.mean()) * NORMAL_MEAN_DEVIATION
