#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""The program on a page, and what it prints.

check_snippet.py PAGE.md --extract OUT.cpp    writes the page's block of C++
check_snippet.py PAGE.md --run PROGRAM        runs it and compares with the page's block of text; with --write the page
                                              gets what the program prints"""
import pathlib
import re
import subprocess
import sys


def block(page, language):
    return re.search(rf"^```{language}\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)


def main():
    path, task, other = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
    page = path.read_text()
    if task == "--extract":
        pathlib.Path(other).write_text(block(page, "cpp")[1])
        return 0
    printed = subprocess.run([other], capture_output=True, text=True, check=True).stdout
    told = block(page, "text")
    if printed == told[1]:
        return 0
    if "--write" in sys.argv:
        path.write_text(page[: told.start(1)] + printed + page[told.end(1):])
        return 0
    print(f"{path} says:\n{told[1]}\nThe program prints:\n{printed}")
    return 1


sys.exit(main())
