#pragma once

#include <optional>
#include <string>

class vtkUnstructuredGrid;

namespace ketmesh {

// Where the arrays of two grids differ first, in words, or nothing when they are equal: of cells, then of
// points, then field data; in each place by name, type, shape and values, bit for bit. The order of the
// arrays does not count.
std::optional<std::string> FindArrayDifference(vtkUnstructuredGrid& a, vtkUnstructuredGrid& b);

} // namespace ketmesh
