# SPDX-License-Identifier: BSD-3-Clause
"""What options can name: metrics, presets of materials, limits of solvers."""

from __future__ import annotations

from . import _core


def metrics() -> list[str]:
    """The names of the quality metrics.

    >>> "ScaledJacobian" in ketmesh.metrics()
    True
    """
    return list(_core.metrics())


def metric_table() -> dict[str, _core.Metric]:
    """The quality metrics by name, each with definition, unit, range and source.

    >>> ketmesh.metric_table()["MinDihedralAngle"].unit
    'deg'
    """
    return _core.metrics()


def presets() -> dict[str, _core.Preset]:
    """The published laws and moduli by the name that `Mesh.materials` takes, with range and sources.

    >>> ketmesh.presets()["femur"].modulus
    [6850.0, 1.49]
    """
    return _core.presets()


def limits() -> dict[str, _core.LimitSet]:
    """The limits that solvers document by the name that `Mesh.quality_report` takes, with their sources.

    >>> "abaqus" in ketmesh.limits()
    True
    """
    return _core.limits()
