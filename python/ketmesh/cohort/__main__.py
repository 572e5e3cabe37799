# SPDX-License-Identifier: BSD-3-Clause
import os
import sys

if not __package__:  # run as a folder: python3 python/ketmesh/cohort
    from pathlib import Path

    sys.path[0] = str(Path(__file__).resolve().parent.parent)
    __package__ = "cohort"

from .command import main  # noqa: E402

if __name__ == "__main__":
    status = main()
    sys.stdout.flush()
    sys.stderr.flush()
    os._exit(status)  # dask's clients wait for schedulers that never answered when the interpreter ends
