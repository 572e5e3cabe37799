#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Holds what includes what against the map in ARCHITECTURE.md.

A unit is a header and the source beside it. The table under "What depends on what" puts every unit into a room
and every room into a row; checked is that

- a unit includes only units of its own room or of rows above it, but for the exceptions listed there;
- no file includes itself by way of others, and units include each other only inside the mesh core, where a
  private unit helps the one that it includes, or in the exceptions listed there;
- private headers are included only in their own library and its tests;
- nothing outside the library, but for its tests, uses the library's namespace Detail.

  check_includes.py           checks; prints every breach, and exits with 1 when there is one
  check_includes.py --draw    prints the drawing of the rooms that ARCHITECTURE.md holds
  check_includes.py --write   puts that drawing into ARCHITECTURE.md
"""

import fnmatch
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
MAP = ROOT / "ARCHITECTURE.md"
SOURCES = ("platform", "KetSDK", "host", "python", "examples", "bench", "tests")
PRIVATE = re.compile(r"(KetSDK/Mesh(?:VTK|Solver|Jobs)?)/(?:\w+/)*(?:detail|images|checks)/")
TESTS_OF = {
    "KetSDK/Mesh": "tests/(mesh|materials|geometry|correspondence|persistence|operators)/",
    "KetSDK/MeshVTK": "tests/vtk/",
    "KetSDK/MeshSolver": "tests/solver/",
    "KetSDK/MeshJobs": "tests/jobs/",
}
LIBRARY_DETAIL = re.compile(r"\bMesh::Detail(?!::MeshElementsIterator\b)")
CORE = "mesh core"


def read_map():
    """The rooms as (row, name, patterns), and the exceptions as a set of pairs of units."""
    text = MAP.read_text()
    text = text[text.index("## What depends on what"):]
    text = text[: text.index("\n## ")] if "\n## " in text else text
    rooms, exceptions = [], set()
    for line in text.splitlines():
        cells = [c.strip() for c in line.strip().strip("|").split("|")]
        names = re.findall(r"`([^`]+)`", line)
        if line.startswith("|") and len(cells) == 3 and cells[0].isdigit():
            rooms.append((int(cells[0]), cells[1], names))
        elif line.startswith("- ") and len(names) == 2:
            exceptions.add(tuple(names))
    return rooms, exceptions


def short(unit):
    return unit.removeprefix("KetSDK/Mesh/")


class Tree:
    def __init__(self):
        files = [
            p.relative_to(ROOT).as_posix()
            for folder in SOURCES
            for p in sorted((ROOT / folder).rglob("*"))
            if p.suffix in (".h", ".cpp")
        ]
        self.text = {f: (ROOT / f).read_text() for f in files}
        self.includes = {f: list(self._included(f)) for f in files}

    def _included(self, file):
        for name in re.findall(r'^#include [<"]([^>"]+)[>"]', self.text[file], re.M):
            for candidate in (name, "platform/" + name, "tests/" + name, str(Path(file).parent / name)):
                if candidate in self.text:
                    yield candidate
                    break

    def units(self):
        """What each unit includes."""
        graph = {}
        for file, others in self.includes.items():
            own = graph.setdefault(unit_of(file), set())
            own.update(unit_of(o) for o in others if unit_of(o) != unit_of(file))
        return graph


def unit_of(file):
    return file.rsplit(".", 1)[0]


def room_of(unit, rooms):
    """The room with the longest pattern that fits."""
    best = None
    for row, name, patterns in rooms:
        for pattern in patterns:
            folder = pattern.endswith("/")
            if fnmatch.fnmatchcase(short(unit), pattern + "*" if folder else pattern):
                rank = (not folder, len(pattern))
                if best is None or rank > best[0]:
                    best = (rank, row, name)
    return best[1:] if best else None


def cycles(graph):
    """Sets of nodes from each of which all the others can be reached (Tarjan)."""
    index, low, stack, found = {}, {}, [], []

    def visit(node):
        index[node] = low[node] = len(index)
        stack.append(node)
        for other in graph.get(node, ()):
            if other not in index:
                visit(other)
                low[node] = min(low[node], low[other])
            elif other in stack:
                low[node] = min(low[node], index[other])
        if low[node] == index[node]:
            at = stack.index(node)
            if len(stack) - at > 1:
                found.append(sorted(stack[at:]))
            del stack[at:]

    sys.setrecursionlimit(10000)
    for node in graph:
        if node not in index:
            visit(node)
    return found


def breaches(tree, rooms, exceptions):
    place = {unit: room_of(unit, rooms) for unit in tree.units()}
    for unit, room in place.items():
        if room is None:
            yield f"{unit} is in no room of ARCHITECTURE.md"
    used = set()
    for unit, others in tree.units().items():
        for other in sorted(others):
            if place[unit] and place[other] and place[other] != place[unit] and place[other][0] >= place[unit][0]:
                pair = (short(unit), short(other))
                if pair in exceptions:
                    used.add(pair)
                else:
                    yield f"{unit} ({place[unit][1]}) includes {other} ({place[other][1]})"

    for cycle in cycles(tree.includes):
        yield "files include each other: " + ", ".join(cycle)
    graph = {}
    for unit, others in tree.units().items():
        graph[unit] = {o for o in others if (short(unit), short(o)) not in exceptions}
        used.update((short(unit), short(o)) for o in others if (short(unit), short(o)) in exceptions)
    for cycle in cycles(graph):
        public = [u for u in cycle if not PRIVATE.match(u)]
        if any(place[u] is None or place[u][1] != CORE for u in cycle) and len(public) > 1:
            yield "units include each other: " + ", ".join(cycle)
    for pair in sorted(exceptions - used):
        yield f"ARCHITECTURE.md excepts {pair[0]} -> {pair[1]}, which is not there"

    for file, others in tree.includes.items():
        for other in others:
            private = PRIVATE.match(other)
            if private and not file.startswith(private[1] + "/") and not re.match(TESTS_OF[private[1]], file):
                yield f"{file} includes the private {other}"
        if not re.match(r"KetSDK/Mesh/|platform/|" + TESTS_OF["KetSDK/Mesh"], file):
            for number, line in enumerate(tree.text[file].splitlines(), 1):
                if LIBRARY_DETAIL.search(line):
                    yield f"{file}:{number} uses the library's namespace Detail"


def drawing(tree, rooms):
    """The rooms by row, but for the last, which may include everything, with an arrow where one includes another
    and no longer way leads there."""
    place = {unit: room_of(unit, rooms) for unit in tree.units()}
    rooms = rooms[:-1]
    names = [name for _, name, _ in rooms]
    arrows = {name: set() for name in names}
    for unit, others in tree.units().items():
        for other in others:
            if place[unit] and place[other] and place[unit] != place[other] and place[unit][1] in arrows:
                arrows[place[unit][1]].add(place[other][1])

    def reach(name):
        seen, todo = set(), list(arrows[name])
        while todo:
            at = todo.pop()
            if at not in seen:
                seen.add(at)
                todo += arrows[at]
        return seen

    lines = ["```mermaid", "flowchart BT"]
    for row in sorted({row for row, _, _ in rooms}):
        lines.append(f"  subgraph row{row}[row {row}]")
        lines += [f'    {key(name)}["{name}"]' for r, name, _ in rooms if r == row]
        lines.append("  end")
    for name in names:
        beyond = set().union(*(reach(other) for other in arrows[name]), set())
        lines += [f"  {key(name)} --> {key(other)}" for other in names if other in arrows[name] - beyond]
    return "\n".join(lines + ["```"])


def key(name):
    return re.sub(r"\W+", "_", name)


def main():
    tree = Tree()
    rooms, exceptions = read_map()
    wanted = drawing(tree, rooms)
    text = MAP.read_text()
    drawn = re.search(r"```mermaid\n.*?```", text, re.S)
    if "--draw" in sys.argv:
        print(wanted)
        return 0
    if "--write" in sys.argv:
        MAP.write_text(text.replace(drawn[0], wanted))
        return 0
    found = list(breaches(tree, rooms, exceptions))
    if not drawn or drawn[0] != wanted:
        found.append("the drawing in ARCHITECTURE.md is another: tools/check_includes.py --write")
    print("\n".join(found) if found else f"{len(tree.text)} files, as the map says")
    return 1 if found else 0


sys.exit(main())
