#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Makes the comments of a public header visible to Doxygen: `//` above a declaration, and behind it, is its
contract. Puts what the header declares into the group that groups.txt gives it."""
import pathlib
import re
import sys

HERE = pathlib.Path(__file__).parent
TREE = HERE.parent.parent


def groups():
    """(folder or unit, group) in the order of the table; the last that matches holds."""
    for line in (HERE / "groups.txt").read_text().splitlines():
        if line and not line.startswith(("#", "group ")):
            yield tuple(line.split())


def group_of(path):
    unit = path.resolve().relative_to(TREE).with_suffix("").as_posix()
    found = [group for where, group in groups() if unit == where or (where.endswith("/") and unit.startswith(where))]
    return found[-1] if found else None


def with_contracts(text):
    lines = []
    banner = False
    for line in text.splitlines():
        if "SPDX-License-Identifier" in line:
            line = ""
        # A banner names the members up to the next one, or to the end of its section.
        if banner and re.match(r"\s*(public|protected|private):|\};", line):
            lines.append("/// @}")
            banner = False
        if match := re.match(r"\s*// -{3,} (.*?) -+$", line):
            lines.append(("/// @}\n" if banner else "") + f"/// \\name {match[1]}\n/// @{{")
            banner = True
            continue
        # <, @ and \ mean something to Doxygen; in these headers they are themselves.
        if match := re.match(r"(\s*)//(?!/)(.*)$", line):
            line = match[1] + "///" + plain(match[2])
        elif match := re.match(r"(.*[;,{})\w])\s+//(?!/)\s?(.*)$", line):
            code, words = match.groups()
            # What follows an opening brace tells of the block, not of a declaration.
            line = code if code.rstrip().endswith("{") else f"{code} ///< {plain(words)}"
        lines.append(line)
    return lines


def plain(words):
    return re.sub(r"([<>@\\#%])", r"\\\1", words)


def main():
    path = pathlib.Path(sys.argv[1])
    lines = with_contracts(path.read_text())
    if group := group_of(path):
        top = r"(class|struct|enum class|enum)\s+((KETSDK_\w+_API|alignas\(\w+\))\s+)?\w+[^;]*$"
        for i, line in enumerate(lines):
            if re.match(top, line):
                lines[i] = f"/// \\ingroup {group}\n{line}"
    sys.stdout.write("\n".join(lines) + "\n")


main()
