# SPDX-License-Identifier: BSD-3-Clause
"""What a case is made from: the key of the contents of its inputs, its steps and the program's version."""

from __future__ import annotations

import hashlib
import json
import os
import stat

STAMP = ("path", "size", "mtime_ns", "ctime_ns", "inode")


class Unknown(Exception):
    """The contents of a file would have to be read."""


def _stamp(path: str) -> dict:
    """What changes whenever the contents of a file do: nobody can set the time of the last change back."""
    status = os.stat(path)
    if not stat.S_ISREG(status.st_mode):
        return {"path": path, "special": True}
    return {"path": path, "size": status.st_size, "mtime_ns": status.st_mtime_ns, "ctime_ns": status.st_ctime_ns,
            "inode": status.st_ino}


def _digest(path: str) -> str:
    digest = hashlib.sha256()
    with open(path, "rb", buffering=0) as file:
        while block := file.read(1 << 20):
            digest.update(block)
    return digest.hexdigest()


def _fingerprint_file(path: str, known: dict[str, dict], may_read: bool) -> dict:
    """The stamp of a file with its sha256; with `missing` or `special` instead where there is nothing to read."""
    try:
        entry = _stamp(path)
        if "special" in entry:
            return entry
        old = known.get(path)
        if old and all(old.get(name) == entry[name] for name in STAMP):
            return old
        if not may_read:
            raise Unknown
        return {**entry, "sha256": _digest(path)}
    except OSError as error:
        return {"path": path, "missing": error.strerror}


def _files(path: str) -> list[str]:
    """The file itself, or all files of a folder by name."""
    if not os.path.isdir(path):
        return [path]
    return sorted(os.path.join(folder, name) for folder, _, names in os.walk(path) for name in names)


def fingerprint(version: str, steps: list[dict], known: list[dict] = (),
                may_read: bool = True) -> tuple[str, list[dict]]:
    """The key of a case, and its input files with the stamps and digests that the key stands on.

    Files whose stamp is as in `known`, which an earlier call has given, are not read. Where names lie does not count,
    only the last component, whose ending says the format. Throws Unknown when a file had to be read and must not be.
    """
    by_path = {entry["path"]: entry for entry in known}
    entries: dict[str, dict] = {}
    contents = []
    for step in steps:
        words: list = []
        for word in step["words"]:
            if isinstance(word, str):
                words.append(word)
                continue
            files = []
            for path in _files(word["path"]):
                if path not in entries:
                    entries[path] = _fingerprint_file(path, by_path, may_read)
                found = entries[path]
                name = os.path.relpath(path, word["path"]) if path != word["path"] else os.path.basename(path)
                files.append([name, found.get("sha256") or ("special" if "special" in found else "missing")])
            words.append([word["option"], files])
        contents.append([step["name"], words])
    text = json.dumps([version, contents])
    return hashlib.sha256(text.encode()).hexdigest(), list(entries.values())


def are_unchanged(entries: list[dict]) -> bool:
    """Whether the files are still those that fingerprint() has seen."""
    for entry in entries:
        try:
            now = _stamp(entry["path"])
        except OSError:
            now = {"missing": True}
        if any(entry.get(name) != now.get(name) for name in (*STAMP[1:], "special")):
            return False
    return True
