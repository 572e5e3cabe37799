# SPDX-License-Identifier: BSD-3-Clause
# The interpreter that the Python package is made for, and whether it can be built: KETSDK_WITH_PYTHON, ON where all
# that it needs is found.

# Debian's interpreter is the one that Debian's modules are for, whatever comes first on the path.
if(EXISTS /usr/bin/python3 AND NOT DEFINED Python3_EXECUTABLE)
  set(Python3_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "Interpreter that the Python package is made for")
endif()
find_package(Python3 3.10 QUIET COMPONENTS Interpreter OPTIONAL_COMPONENTS Development.Module NumPy)
if(KETSDK_WITH_VTK AND Python3_Development.Module_FOUND AND Python3_NumPy_FOUND)
  find_package(pybind11 2.10 QUIET)
endif()
option(KETSDK_WITH_PYTHON "Build the Python package" ${pybind11_FOUND})
if(KETSDK_WITH_PYTHON AND NOT pybind11_FOUND)
  message(FATAL_ERROR "KETSDK_WITH_PYTHON needs VTK, the headers of Python 3.10 or newer, NumPy and pybind11 2.10")
endif()
