// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Run.h"

#include <pybind11/pybind11.h>

namespace ketmesh {

// What `copy` and `pickle` do with meshes and surfaces: they come out as they went in. A pickle holds large
// arrays, which newer protocols of pickle hand over without a copy.
void AddCopies(py::class_<SharedModel, ModelHandle>& models);
void AddCopies(py::class_<SharedSurface, SurfaceHandle>& surfaces);

// For what nothing changes once it is made: a copy is the object itself.
template <typename Class>
void CopyIsItself(Class& of) {
    of.def("__copy__", [](py::object const& self) { return self; });
    of.def(
        "__deepcopy__", [](py::object const& self, py::dict const&) { return self; }, py::arg("memo"));
}

} // namespace ketmesh
