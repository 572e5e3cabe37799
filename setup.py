# SPDX-License-Identifier: BSD-3-Clause
"""`pip install .`: CMake builds the library and the module, and the package carries both.

CMake gets the options in CMAKE_ARGS as well. With KETSDK_BUILD_DIR, the folder of a finished build, nothing is built.
"""

import os
import shlex
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, find_packages, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    """Builds and installs into a folder aside, of which the package is taken."""

    def run(self) -> None:
        prefix = Path(self.build_temp).resolve() / "prefix"
        build = os.environ.get("KETSDK_BUILD_DIR") or self._build()
        subprocess.run(["cmake", "--install", str(build), "--prefix", str(prefix)], check=True, stdout=subprocess.DEVNULL)
        package = Path(self.build_lib).resolve() / "ketmesh"
        if self.inplace:
            sys.exit("the package cannot be built in place: the module belongs to a build tree")
        shutil.copytree(next(prefix.glob("**/dist-packages/ketmesh")), package, dirs_exist_ok=True)
        # The module and the libraries look for each other in their own folder, too.
        for library in prefix.glob("lib/**/libKetSDK.*.so.0"):
            shutil.copy(library, package / library.name)

    def _build(self) -> Path:
        build = Path(self.build_temp).resolve() / "build"
        options = {
            "CMAKE_BUILD_TYPE": "Release",
            "KETSDK_BUILD_TESTS": "OFF",
            "KETSDK_BUILD_EXAMPLES": "OFF",
            "KETSDK_UNITY_LIBRARIES": "ON",
            "KETSDK_WITH_PYTHON": "ON",
            "Python3_EXECUTABLE": sys.executable,
        }
        defined = [f"-D{name}={value}" for name, value in options.items()]
        defined += shlex.split(os.environ.get("CMAKE_ARGS", ""))
        subprocess.run(["cmake", "-G", "Ninja", "-S", str(ROOT), "-B", str(build), *defined], check=True)
        subprocess.run(["cmake", "--build", str(build)], check=True)
        return build


setup(
    packages=find_packages("python", include=["ketmesh", "ketmesh.*"]),
    package_dir={"": "python"},
    package_data={"": ["py.typed", "*.pyi", "*.html"]},
    ext_modules=[Extension("ketmesh._core", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
