"""The examples in the documentation of the package do what they show."""

import doctest
import importlib
import re

import pytest

from common import DATA


@pytest.mark.parametrize("module", ["ketmesh", "ketmesh._mesh", "ketmesh._surface", "ketmesh._image"])
def test_examples(module, monkeypatch):
    monkeypatch.chdir(DATA)
    failed, tried = doctest.testmod(importlib.import_module(module), optionflags=doctest.ELLIPSIS)
    assert tried > 0 and failed == 0


def test_blocks_of_the_guide(monkeypatch):
    monkeypatch.chdir(DATA)
    guide = (DATA.parent / "docs" / "python.md").read_text(encoding="utf-8")
    blocks = re.findall(r"^```python\n(.*?)^```", guide, re.M | re.S)
    names = {}
    for number, block in enumerate(blocks, 1):
        exec(compile(block, f"python.md, block {number}", "exec"), names)
    assert blocks
