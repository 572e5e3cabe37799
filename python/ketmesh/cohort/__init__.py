# SPDX-License-Identifier: BSD-3-Clause
"""Runs `ketmesh` over a cohort: a table of cases through the steps of a pipeline, on one machine or on a cluster.

    python3 -m ketmesh.cohort CASES.csv PIPELINE.toml --out RUNS

Pure Python on dask.distributed: it drives the program and needs neither the compiled module nor this package on the
machines of a cluster. `docs/cohorts.md` says how to use it.
"""
