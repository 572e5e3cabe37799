// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshNodeValues.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/persistence/MMeshArrayType.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <vector>

namespace {

constexpr double NoValue = std::numeric_limits<double>::quiet_NaN();
constexpr double LargestValue = 1e300;

using NodeMask = MDataMask<MMeshPoint, double>;

double ValueAt(std::span<double const> column, std::uint64_t index) {
    double const value = column[index];
    return std::fabs(value) <= LargestValue ? value : NoValue;
}

void CopyValues(MMeshBase const& mesh, std::span<double const> column, NodeMask& values) {
    for (auto node = mesh.BeginPoint(); node != mesh.EndPoint(); ++node)
        values.SetValue(*node, ValueAt(column, static_cast<std::uint64_t>(node->GetIndex())));
}

void AverageValues(MMeshBase const& mesh, std::span<double const> column, NodeMask& values) {
    struct Mean {
        double sum = 0.0;
        std::uint32_t count = 0;
    };
    std::vector<Mean> means(static_cast<std::size_t>(mesh.NumberOfPoints()));
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t index) {
        double const value = ValueAt(column, index);
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

MMeshNodeValuesReport Summarize(MMeshBase const& mesh, NodeMask const& values) {
    std::vector<bool> is_corner(static_cast<std::size_t>(mesh.NumberOfPoints()), false);
    for (MMeshElement const& e : mesh.Elements())
        for (unsigned int i = 0; i < MMeshElementDescriptor::GetNumSimpleNodes(e.GetNodeCount()); ++i)
            is_corner[static_cast<std::size_t>(e.GetNode(i)->GetIndex())] = true;
    MMeshNodeValuesReport report{0, NoValue, NoValue};
    for (auto node = mesh.BeginPoint(); node != mesh.EndPoint(); ++node) {
        if (!is_corner[static_cast<std::size_t>(node->GetIndex())])
            continue;
        double const value = values.GetValue(*node);
        report.without_value += std::isnan(value);
        report.min = std::fmin(report.min, value); // which leaves NaN out
        report.max = std::fmax(report.max, value);
    }
    return report;
}

} // namespace

MMeshNodeValuesReport SetNodeValues(MMeshBase const& mesh, MMeshArray::Place place,
                                    std::span<double const> column, NodeMask& values) {
    MLong const count = place == MMeshArray::OnNodes ? mesh.NumberOfPoints() : mesh.NumberOfElements();
    if (place == MMeshArray::OnMesh || column.size() != static_cast<std::size_t>(count))
        throw std::invalid_argument("the values are not one for each node or element");
    if (place == MMeshArray::OnNodes)
        CopyValues(mesh, column, values);
    else
        AverageValues(mesh, column, values);
    return Summarize(mesh, values);
}

MMeshNodeValuesReport SetNodeValues(MMeshBase const& mesh, MMeshArray const& array, std::uint32_t index,
                                    NodeMask& values) {
    auto const* const doubles = std::get_if<std::vector<double>>(&array.values);
    if (doubles && array.components == 1 && index == 0)
        return SetNodeValues(mesh, array.place, *doubles, values);
    return SetNodeValues(mesh, array.place, ColumnOf(array, index), values);
}
