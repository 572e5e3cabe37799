#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Makes the man page of the program out of its help: man_page.py KETMESH OUTPUT.1"""
import re
import subprocess
import sys


def run(program, *words):
    return subprocess.run([program, *words], capture_output=True, text=True, check=True).stdout


def roff(text):
    """Text as troff sees it: no dot begins a line, and a dash is one."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return re.sub(r"^([.'])", r"\\&\1", text, flags=re.MULTILINE)


def options(block):
    """(words, meaning) of each entry; the meaning stands from column 30 on, or on the lines below."""
    entries = []
    for line in block.splitlines():
        if re.match(r"  \S", line):
            words, meaning = (re.split(r"  +", line.strip(), maxsplit=1) + [""])[:2]
            entries.append([words, [meaning]])
        elif entries:
            entries[-1][1].append(line.strip())
    return [(words, " ".join(filter(None, meaning))) for words, meaning in entries]


def section(text):
    """The help of one command, or of the program, without its first line."""
    for block in text.strip().split("\n\n"):
        title, _, rest = block.partition("\n")
        if title.startswith("Usage: "):
            yield f".PP\n.B {roff(title.removeprefix('Usage: '))}"
        elif title in ("Positionals:", "Options:", "Subcommands:"):
            yield from (f".TP\n.B {roff(words)}\n{roff(meaning)}" for words, meaning in options(rest))
        elif title == "Examples:":
            yield f".PP\n.nf\n.RS\n{roff(re.sub('^  ', '', rest, flags=re.MULTILINE))}\n.RE\n.fi"
        else:
            yield f".PP\n{roff(block)}"


def page(program):
    top = run(program, "--help")
    what, _, rest = top.partition("\n")
    version = run(program, "--version").split()[-1]
    lines = [f'.TH KETMESH 1 "" "ketmesh {version}" "User commands"', ".SH NAME",
             f"ketmesh \\- {roff(what[0].lower() + what[1:].rstrip('.'))}", ".SH SYNOPSIS", *section(rest.split("\n\n")[0]),
             ".SH DESCRIPTION", *section(rest.partition("\n\n")[2]), ".SH COMMANDS"]
    listed = top.split("Subcommands:\n")[1].split("\n\n")[0]
    for command in re.findall(r"^  (\w+) ", listed, re.MULTILINE):
        what, _, rest = run(program, command, "--help").partition("\n")
        lines += [f'.SS "ketmesh {command}"', roff(what), *section(rest)]
    return "\n".join(lines) + "\n"


with open(sys.argv[2], "w", encoding="utf-8") as file:
    file.write(page(sys.argv[1]))
