#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Holds docs/commands.md against the program and the headers: check_commands.py KETMESH.

Every command of the program's help has one row, every link leads to a header that declares what the row names, and the
job includes, directly or through what it includes, what it is said to stand on."""
import pathlib
import re
import subprocess
import sys

TREE = pathlib.Path(__file__).parents[1]


def commands(program):
    help_text = subprocess.run([program, "--help"], capture_output=True, text=True, check=True).stdout
    listed = help_text.split("Subcommands:\n")[1].split("\n\n")[0]
    return re.findall(r"^  (\w+) ", listed, re.MULTILINE)


def rows():
    for line in (TREE / "docs/commands.md").read_text().splitlines():
        if match := re.match(r"\| `(\w+)` \| (.*) \| (.*) \|$", line):
            command, job, stands_on = match.groups()
            links = r"\[(\w+)\]\(\.\./(\S+?)\)"
            yield command, re.findall(links, job), re.findall(links, stands_on)


def reached_from(header):
    """The headers that a header and its source include, and those that these do, and so on."""
    reached, ahead = set(), [header]
    while ahead:
        unit = ahead.pop()
        for path in (TREE / unit, (TREE / unit).with_suffix(".cpp")):
            text = path.read_text() if path.is_file() else ""
            for included in re.findall(r'#include [<"](?:KetSDK/)?([\w/]+\.h)[>"]', text):
                for found in (f"KetSDK/{included}", str((path.parent / included).relative_to(TREE))):
                    if (TREE / found).is_file() and found not in reached:
                        reached.add(found)
                        ahead.append(found)
    return reached


def faults(program):
    listed, told = commands(program), [row[0] for row in rows()]
    yield from (f"{command} has no row" for command in listed if command not in told)
    yield from (f"{command} has a row and is no command" for command in told if command not in listed)
    yield from (f"{command} has {told.count(command)} rows" for command in set(told) if told.count(command) > 1)
    for command, jobs, stands_on in rows():
        if len(jobs) != 1 or not stands_on:
            yield f"{command} names {len(jobs)} jobs and {len(stands_on)} classes"
        for name, path in jobs + stands_on:
            header = TREE / path
            if not header.is_file():
                yield f"{command}: no file {path}"
            elif not re.search(rf"\b{name}\b", header.read_text()):
                yield f"{command}: {path} does not declare {name}"
        for name, path in stands_on:
            if path not in reached_from(jobs[0][1]):
                yield f"{command}: {jobs[0][0]} does not include {path}"


found = list(faults(sys.argv[1]))
print("\n".join(f"docs/commands.md: {fault}" for fault in found) or "docs/commands.md is true")
sys.exit(bool(found))
