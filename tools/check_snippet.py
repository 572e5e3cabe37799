#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""The program on a page, and what it prints.

check_snippet.py PAGE.md --extract OUT.cpp    writes the page's blocks of C++, which are one program together
check_snippet.py PAGE.md --run PROGRAM        runs it and compares with the page's blocks of text; with --write the page
                                              gets what the program prints

A block of text below a block of C++ is what the program prints up to there. Where more C++ follows it must go on
within a function, between two statements."""
import pathlib
import re
import subprocess
import sys

BLOCK = re.compile(r"^```(cpp|text)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
MARK = "\f"  # between what two blocks print


def program(page):
    """The blocks of C++, with a mark printed wherever the page has a block of text in between."""
    source = ""
    ends_with_text = False
    for block in BLOCK.finditer(page):
        if block[1] == "text":
            ends_with_text = True
            continue
        if ends_with_text:
            source += "    std::cout << '\\f';\n"
        source += block[2]
        ends_with_text = False
    return source


def main():
    path, task, other = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
    page = path.read_text()
    if task == "--extract":
        pathlib.Path(other).write_text(program(page))
        return 0
    printed = subprocess.run([other], capture_output=True, text=True, check=True).stdout.split(MARK)
    told = [block for block in BLOCK.finditer(page) if block[1] == "text"]
    if printed == [block[2] for block in told]:
        return 0
    if "--write" in sys.argv and len(printed) == len(told):
        for block, text in reversed(list(zip(told, printed))):
            page = page[: block.start(2)] + text + page[block.end(2):]
        path.write_text(page)
        return 0
    print(f"{path} says:\n{MARK.join(block[2] for block in told)}\nThe program prints:\n{MARK.join(printed)}")
    return 1


sys.exit(main())
