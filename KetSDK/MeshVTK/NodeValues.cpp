// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/NodeValues.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/MMeshNodeValues.h>
#include <KetSDK/MeshVTK/Arrays.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/detail/NamedArrays.h>

#include <vtkCellData.h>
#include <vtkDataArray.h>
#include <vtkPointData.h>
#include <vtkUnstructuredGrid.h>

#include <cstddef>
#include <vector>

namespace KetSDK::MeshVTK {

namespace {

// One component of an array as doubles, one for each of `count` nodes or elements.
std::vector<double> Column(vtkDataArray& array, std::string const& name, std::optional<int> component,
                           vtkIdType count) {
    int const components = array.GetNumberOfComponents();
    std::string const described = "the array \"" + name + "\" has " + std::to_string(components) +
                                  (components == 1 ? " component" : " components");
    if (!component && components != 1)
        throw Error(described + "; say which one is meant, from 0 to " + std::to_string(components - 1));
    int const index = component.value_or(0);
    if (index < 0 || index >= components)
        throw Error(described + ", so there is none with the number " + std::to_string(index) +
                    " (they count from 0)");
    if (array.GetNumberOfTuples() != count)
        throw Error("the array \"" + name + "\" has " + std::to_string(array.GetNumberOfTuples()) +
                    " values instead of " + std::to_string(count));
    std::vector<double> column(static_cast<std::size_t>(count));
    for (vtkIdType i = 0; i < count; ++i)
        column[static_cast<std::size_t>(i)] = array.GetComponent(i, index);
    return column;
}

} // namespace

NodeValuesReport NodeValuesFromGrid(MMeshBase const& mesh, vtkUnstructuredGrid& grid, std::string const& name,
                                    std::optional<int> component, MDataMask<MMeshPoint, double>& values) {
    auto const set = [&](vtkDataArray& array, MMeshArray::Place place, vtkIdType count) {
        MMeshNodeValuesReport const report =
            SetNodeValues(mesh, place, Column(array, name, component, count), values);
        return NodeValuesReport{place == MMeshArray::OnElements, report.without_value, report.min,
                                report.max};
    };
    if (vtkDataArray* const of_points = FindArray(*grid.GetPointData(), name))
        return set(*of_points, MMeshArray::OnNodes, mesh.NumberOfPoints());
    if (vtkDataArray* const of_cells = FindArray(*grid.GetCellData(), name))
        return set(*of_cells, MMeshArray::OnElements, mesh.NumberOfElements());
    throw Error("there is no array \"" + name + "\"; " + DescribeArrays(*grid.GetPointData(), "point") +
                "; " + DescribeArrays(*grid.GetCellData(), "cell"));
}

NodeValuesReport NodeValuesOf(MMeshBase const& mesh, std::vector<MMeshArray> const& arrays,
                              std::string const& name, std::optional<int> component,
                              MDataMask<MMeshPoint, double>& values) {
    return NodeValuesFromGrid(mesh, *Detail::ArraysNamed(mesh, arrays, name), name, component, values);
}

} // namespace KetSDK::MeshVTK
