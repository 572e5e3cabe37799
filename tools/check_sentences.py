#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Finds sentences of more than 30 words in the guides and in the comments of the headers, and words that have another
name here, in all sources. The changelog is a list."""
import pathlib
import re
import subprocess
import sys

TREE = pathlib.Path(__file__).parents[1]
MOST_WORDS = 30

# One word for one thing: what is meant by these has the name beside them.
OTHER_NAMES = {
    r"(its|their|the) places? (in|among|within) the (\w+'s )?(list|node array|container|sequence|points|surfaces)": "index",
    r"places in (the|a) (list|node array)": "indices",
    r"(nodes?|points?|corners|elements|slices) (that lie )?(at|on) (one|the same|equal) places?\b": "position",
    r"(number|place) of (the|an?) (element|node) in the (list|mesh)": "index",
    r"partition (of|into) (the )?(mesh|elements)|sub-?parts?\b": "sub-volume",
}


def prose_of_page(text):
    """Paragraphs and items; no code, tables or pictures."""
    text = re.sub(r"^( *)```.*?^\1```", "\n", text, flags=re.MULTILINE | re.DOTALL)
    paragraph = []
    for line in text.splitlines() + [""]:
        starts = re.match(r"\s*([-*]|\d+\.) |#|\||!\[|:|\(", line)
        if not line.strip() or starts:
            yield " ".join(paragraph)
            paragraph = []
        if line.strip() and not re.match(r"#|\||!\[", line):
            paragraph.append(re.sub(r"^\s*([-*]|\d+\.) ", "", line).strip())


def prose_of_header(text):
    """The runs of whole-line comments; an item of a list is one of its own."""
    run = []
    for line in text.splitlines() + [""]:
        comment = re.match(r"\s*//(.*)", line)
        words = comment[1].strip() if comment else ""
        if not words or re.match(r"([-*]|\d+\.) |---", words):
            yield " ".join(run)
            run = []
        if words and not words.startswith("---"):
            run.append(words)


def sentences(prose):
    prose = re.sub(r"`[^`]*`", "X", prose)  # code counts as one word
    prose = re.sub(r"\]\([^)]*\)", "]", prose)
    return re.split(r"(?<=[.!?:;])\s+(?=[A-Z(\[\"*X])", prose)


def tracked(*patterns):
    return subprocess.run(["git", "ls-files", *patterns], cwd=TREE, capture_output=True, text=True, check=True).stdout.split()


def main():
    found = 0
    for name in tracked("*.md", "*.h", "*.cpp", "*.py", "*.js"):
        prose = re.sub(r"\s*\n[\s/#>\"]*", " ", (TREE / name).read_text("utf-8"))
        for pattern, right in OTHER_NAMES.items() if name != "tools/check_sentences.py" else ():
            for match in re.finditer(pattern, prose):
                found += 1
                print(f'{name}: "{match[0]}" is called {right}')
    for name in filter(lambda name: name != "CHANGELOG.md", tracked("*.md", "KetSDK/*.h", "platform/*.h")):
        path = TREE / name
        for prose in (prose_of_page if path.suffix == ".md" else prose_of_header)(path.read_text()):
            for sentence in sentences(prose):
                words = len(re.findall(r"[\w'/]+(?:[-.][\w']+)*", sentence))
                if words > MOST_WORDS:
                    found += 1
                    print(f"{name}: {words} words: {sentence}")
    return bool(found)


sys.exit(main())
