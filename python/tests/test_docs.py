# SPDX-License-Identifier: BSD-3-Clause
"""The examples in the documentation of the package do what they show, and its stubs are true."""

import doctest
import importlib
import inspect
import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

import ketmesh
from common import DATA, has_page


@pytest.mark.parametrize("module", ["ketmesh", *(f"ketmesh.{m}" for m in ("_mesh", "_surface", "_image", "_case", "_page", "_tables", "_timing", "examples"))])
def test_examples(module, monkeypatch):
    monkeypatch.chdir(DATA)
    runner = doctest.DocTestRunner()
    for example in doctest.DocTestFinder().find(importlib.import_module(module), extraglobs={"ketmesh": ketmesh}):
        if not example.name.endswith(("Mesh.view", ".Page")) or has_page():
            runner.run(example)
    assert (runner.tries > 0 or module == "ketmesh._page") and runner.failures == 0


# What needs a library that may not be installed.
WITHOUT_EXAMPLE = {"to_vtk", "to_pyvista", "to_meshio", "from_vtk", "from_meshio"}


def documented(owner, name):
    """The functions and properties that an object of the package has for its users."""
    for each, value in vars(owner).items():
        value = getattr(value, "__func__", value)
        if not each.startswith("_") and (inspect.isfunction(value) or isinstance(value, property)):
            yield f"{name}.{each}", value.__doc__
        elif inspect.isclass(value) and value.__module__.startswith("ketmesh._") and owner is ketmesh:
            if not issubclass(value, (Exception, Warning)):
                yield f"{name}.{each}", value.__doc__
                yield from documented(value, f"{name}.{each}")


def test_everything_public_has_an_example():
    names = dict(documented(ketmesh, "ketmesh"))
    assert len(names) > 60
    few = {"ketmesh.Result", "ketmesh.Image.frame", "ketmesh.Image.note", "ketmesh.Case.places", "ketmesh.Case.file"}
    for name, text in names.items():
        assert text, f"{name} has no documentation"
        assert ">>>" in text or name in few or name.split(".")[-1] in WITHOUT_EXAMPLE, f"{name} has no example"


def test_blocks_of_the_guide(monkeypatch):
    monkeypatch.chdir(DATA)
    guide = (DATA.parent / "docs" / "python.md").read_text(encoding="utf-8")
    blocks = re.findall(r"^```python\n(.*?)^```", guide, re.M | re.S)
    assert len(blocks) > 10
    names = {}
    for number, block in enumerate(blocks, 1):
        exec(compile(block, f"python.md, block {number}", "exec"), names)


@pytest.mark.parametrize("command", [
    ("mypy.stubtest", "ketmesh._core", "--mypy-config-file", "mypy.ini", "--allowlist", "allowed"),
    ("mypy", "--strict", "--ignore-missing-imports", "-m", "ketmesh"),
])  # fmt: skip
def test_types_are_true(command, tmp_path):
    pytest.importorskip("mypy", reason="mypy checks the types")
    (tmp_path / "mypy.ini").write_text("[mypy]\nignore_missing_imports = true\n")
    (tmp_path / "allowed").write_text(r"ketmesh\._core\.\w+\.__init__")  # none of these classes is made by users
    package = Path(ketmesh.__file__).parent.parent
    environment = {**os.environ, "MYPYPATH": str(package), "MYPY_CACHE_DIR": str(tmp_path)}
    checked = subprocess.run([sys.executable, "-m", *command], capture_output=True, text=True, cwd=tmp_path, env=environment)
    assert checked.returncode == 0, checked.stdout + checked.stderr
