// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/FieldArrays.h>

#include <KetSDK/Mesh/persistence/MMeshArrayType.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace KetSDK::MeshJobs::Detail {

namespace {

MMeshArray ArrayOf(MMeshBase const& mesh, MMeshNamedScalarMaskPoints const& field) {
    MDataMask<MMeshPoint, double> const& mask = field;
    std::vector<double> values;
    values.reserve(static_cast<std::size_t>(mesh.NumberOfPoints()));
    for (MLong i = 0; i < mesh.NumberOfPoints(); ++i)
        values.push_back(mask.GetValue(*mesh.GetRandomPoint(static_cast<std::uint64_t>(i))));
    return {field.GetID(), MMeshArray::OnNodes, 1, L"float64", std::move(values)};
}

} // namespace

std::vector<MMeshArray> ArraysWithFields(Model const& model) {
    std::vector<MMeshArray> fields;
    for (auto const& field : model.fields)
        if (!field->GetID().empty())
            SetArray(fields, ArrayOf(*model.mesh, *field));
    std::vector<MMeshArray> arrays = model.arrays;
    auto const first = std::ranges::find_if(
        arrays, [](MMeshArray const& array) { return PlaceOfValues(array) != MMeshArray::OnElements; });
    arrays.insert(first, std::move_iterator(fields.begin()), std::move_iterator(fields.end()));
    return arrays;
}

} // namespace KetSDK::MeshJobs::Detail
