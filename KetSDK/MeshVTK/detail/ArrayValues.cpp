// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/ArrayValues.h>

#include <KetSDK/MeshVTK/Arrays.h>
#include <KetSDK/MeshVTK/Error.h>

#include <vtkDataArray.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace KetSDK::MeshVTK::Detail {

namespace {

template <typename T>
std::vector<long long> ToLongLong(T const* values, vtkIdType count) {
    std::vector<long long> numbers(static_cast<std::size_t>(count));
    std::transform(values, values + count, numbers.begin(), [](T v) { return static_cast<long long>(v); });
    return numbers;
}

} // namespace

std::string Quoted(vtkAbstractArray& array) {
    return "the array \"" + std::string(array.GetName() ? array.GetName() : "") + "\"";
}

void CheckComponents(std::string const& name, std::uint64_t components, std::uint64_t values) {
    constexpr std::uint64_t most_without_values = 65536;
    if (components > std::max(values, most_without_values))
        throw Error("the array \"" + name + "\" announces " + std::to_string(components) +
                    " components, but " + std::to_string(values) + " values");
}

bool HoldsWholeNumbers(vtkDataArray& array) {
    return array.GetDataType() != VTK_FLOAT && array.GetDataType() != VTK_DOUBLE;
}

std::optional<vtkIdType> FirstBrokenNumber(vtkDataArray& array) {
    if (HoldsWholeNumbers(array))
        return std::nullopt;
    constexpr double exact = 9007199254740992.0; // 2^53
    for (vtkIdType i = 0; i < array.GetNumberOfTuples(); ++i)
        if (double const value = array.GetComponent(i, 0);
            !(std::fabs(value) <= exact) || value != std::trunc(value))
            return i;
    return std::nullopt;
}

void CheckWholeNumbers(vtkDataArray& array, vtkIdType count) {
    CheckShape(array, count);
    if (std::optional<vtkIdType> const broken = FirstBrokenNumber(array))
        throw Error(Quoted(array) + " must hold whole numbers; value " + std::to_string(*broken) +
                    " (from 0) is none");
}

std::vector<long long> WholeNumbers(vtkDataArray& array, vtkIdType count) {
    CheckWholeNumbers(array, count);
    std::vector<long long> values;
    switch (array.GetDataType()) {
        vtkTemplateMacro(values = ToLongLong(static_cast<VTK_TT const*>(array.GetVoidPointer(0)), count));
    default: // bits
        values.resize(static_cast<std::size_t>(count));
        for (vtkIdType i = 0; i < count; ++i)
            values[static_cast<std::size_t>(i)] = static_cast<long long>(array.GetComponent(i, 0));
    }
    return values;
}

} // namespace KetSDK::MeshVTK::Detail
