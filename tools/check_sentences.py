#!/usr/bin/env python3
"""Finds sentences of more than 30 words in the guides and in the comments of the headers. The changelog is a list."""
import pathlib
import re
import subprocess
import sys

TREE = pathlib.Path(__file__).parents[1]
MOST_WORDS = 30


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


def main():
    tracked = subprocess.run(["git", "ls-files", "*.md", "KetSDK/*.h", "platform/*.h"], cwd=TREE, capture_output=True,
                             text=True, check=True).stdout.split()
    found = 0
    for name in filter(lambda name: name != "CHANGELOG.md", tracked):
        path = TREE / name
        for prose in (prose_of_page if path.suffix == ".md" else prose_of_header)(path.read_text()):
            for sentence in sentences(prose):
                words = len(re.findall(r"[\w'/]+(?:[-.][\w']+)*", sentence))
                if words > MOST_WORDS:
                    found += 1
                    print(f"{name}: {words} words: {sentence}")
    return bool(found)


sys.exit(main())
