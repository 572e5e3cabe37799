#include <KetSDK/MeshVTK/NodeValues.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/Arrays.h>
#include <KetSDK/MeshVTK/Error.h>

#include <vtkCellData.h>
#include <vtkDataArray.h>
#include <vtkPointData.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace KetSDK::MeshVTK {

namespace {

constexpr double NoValue = std::numeric_limits<double>::quiet_NaN();
constexpr double LargestValue = 1e300;

using NodeMask = MDataMask<MMeshPoint, double>;

// One component of an array as doubles.
class Component {
public:
    Component(vtkDataArray& array, std::string const& name, std::optional<int> component, vtkIdType count)
        : m_array(array)
        , m_component(component.value_or(0)) {
        int const components = array.GetNumberOfComponents();
        std::string const described = "the array \"" + name + "\" has " + std::to_string(components) +
                                      (components == 1 ? " component" : " components");
        if (!component && components != 1)
            throw Error(described + "; say which one is meant, from 0 to " + std::to_string(components - 1));
        if (m_component < 0 || m_component >= components)
            throw Error(described + ", so there is none with the number " + std::to_string(m_component) +
                        " (they count from 0)");
        if (array.GetNumberOfTuples() != count)
            throw Error("the array \"" + name + "\" has " + std::to_string(array.GetNumberOfTuples()) +
                        " values instead of " + std::to_string(count));
    }

    double operator[](std::uint64_t i) const {
        double const value = m_array.GetComponent(static_cast<vtkIdType>(i), m_component);
        return std::fabs(value) <= LargestValue ? value : NoValue;
    }

private:
    vtkDataArray& m_array;
    int m_component;
};

void CopyValues(MMeshBase const& mesh, Component const& source, NodeMask& values) {
    for (auto node = mesh.BeginPoint(); node != mesh.EndPoint(); ++node)
        values.SetValue(*node, source[static_cast<std::uint64_t>(node->GetIndex())]);
}

void AverageValues(MMeshBase const& mesh, Component const& source, NodeMask& values) {
    struct Mean {
        double sum = 0.0;
        std::uint32_t count = 0;
    };
    std::vector<Mean> means(static_cast<std::size_t>(mesh.NumberOfPoints()));
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t number) {
        double const value = source[number];
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i) {
            Mean& mean = means[static_cast<std::size_t>(e.GetNode(i)->GetIndex())];
            mean.sum += value;
            ++mean.count;
        }
    });
    for (auto node = mesh.BeginPoint(); node != mesh.EndPoint(); ++node)
        if (Mean const& mean = means[static_cast<std::size_t>(node->GetIndex())]; mean.count > 0)
            values.SetValue(*node, mean.sum / mean.count);
}

void Summarize(MMeshBase const& mesh, NodeMask const& values, NodeValuesReport& report) {
    std::vector<bool> is_corner(static_cast<std::size_t>(mesh.NumberOfPoints()), false);
    for (MMeshElement const& e : mesh.Elements())
        for (unsigned int i = 0; i < MMeshElementDescriptor::GetNumSimpleNodes(e.GetNodeCount()); ++i)
            is_corner[static_cast<std::size_t>(e.GetNode(i)->GetIndex())] = true;
    report.min = report.max = NoValue;
    for (auto node = mesh.BeginPoint(); node != mesh.EndPoint(); ++node) {
        if (!is_corner[static_cast<std::size_t>(node->GetIndex())])
            continue;
        double const value = values.GetValue(*node);
        report.without_value += std::isnan(value);
        report.min = std::fmin(report.min, value); // which leaves NaN out
        report.max = std::fmax(report.max, value);
    }
}

} // namespace

NodeValuesReport NodeValuesFromGrid(MMeshBase const& mesh, vtkUnstructuredGrid& grid, std::string const& name,
                                    std::optional<int> component, NodeMask& values) {
    NodeValuesReport report;
    if (vtkDataArray* const of_points = FindArray(*grid.GetPointData(), name)) {
        CopyValues(mesh, Component(*of_points, name, component, mesh.NumberOfPoints()), values);
    } else if (vtkDataArray* const of_cells = FindArray(*grid.GetCellData(), name)) {
        report.from_cells = true;
        AverageValues(mesh, Component(*of_cells, name, component, mesh.NumberOfElements()), values);
    } else {
        throw Error("there is no array \"" + name + "\"; " + DescribeArrays(*grid.GetPointData(), "point") +
                    "; " + DescribeArrays(*grid.GetCellData(), "cell"));
    }
    Summarize(mesh, values, report);
    return report;
}

} // namespace KetSDK::MeshVTK
