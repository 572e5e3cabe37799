// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/persistence/MMeshArray.h>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ketmesh {

namespace py = pybind11;

// NumPy's arrays and the library's. What comes out belongs to Python, is handed over without a copy, and is
// read-only where it shows what the mesh holds: a change would not reach the mesh.

// Gives a vector to Python, as rows of `columns` values, or as one dimension when that is 0.
template <typename T>
py::array_t<T> GiveArray(std::vector<T>&& values, std::size_t columns);

// Refuses, by name, arrays of another shape than (n, columns) and returns them as contiguous doubles or
// 64-bit integers. Throws ValueError and TypeError.
py::array_t<double> TakePoints(py::handle array, char const* name);
py::array_t<std::int64_t> TakeIndices(py::handle array, char const* name, std::size_t columns);

// One array of the nodes or elements of a mesh, with the type of its values.
py::array ToNumpy(MMeshArray&& array);
// `rows` is how many there have to be. Throws ValueError for another number of them and for more than two
// dimensions, TypeError for values that are no numbers.
MMeshArray FromNumpy(py::handle array, std::string const& name, MMeshArray::Place place, std::size_t rows);

} // namespace ketmesh
