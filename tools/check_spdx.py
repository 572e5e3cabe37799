#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Finds sources that do not name their licence at the top."""
import pathlib
import re
import subprocess
import sys

TREE = pathlib.Path(__file__).parents[1]
LINE = "SPDX-License-Identifier: BSD-3-Clause"
SOURCE = re.compile(r"\.(h|cpp|cpp\.in|py|pyi|js|mjs|css|sh|cmake|cmake\.in)$|CMakeLists\.txt$|Snakefile$")


def main():
    tracked = subprocess.run(["git", "ls-files"], cwd=TREE, capture_output=True, text=True, check=True).stdout.split("\n")
    sources = [name for name in tracked if SOURCE.search(name) and not name.startswith("tests/fuzz/corpus/")]
    missing = [name for name in sources if LINE not in (TREE / name).read_text("utf-8")[:500]]
    for name in missing:
        print(f"{name}: there is no line {LINE}")
    return bool(missing) or len(sources) < 100


sys.exit(main())
