# SPDX-License-Identifier: BSD-3-Clause
"""What the tests share: the sample data, and the program to compare with."""

import json
import os
import subprocess
import tempfile
from pathlib import Path

DATA = Path(__file__).resolve().parents[2] / "data"
LINEAR = DATA / "head_small_tet4.vtu"
CURVED = DATA / "head_small_tet10.vtu"
LABELS = DATA / "head_labels.nii.gz"
IMAGE = DATA / "head_ct.nii.gz"

UNIT_TET = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]]


def has_page():
    """Whether the library was built with the page of ketmesh view."""
    with tempfile.TemporaryDirectory() as folder:
        command = [os.environ["KETMESH"], "view", LINEAR, "-o", f"{folder}/page.html"]
        return "without the page" not in subprocess.run(command, capture_output=True, text=True).stderr


def program(*arguments):
    """The JSON that the program prints for a command."""
    command = [os.environ["KETMESH"], *map(str, arguments), "--json"]
    return json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
