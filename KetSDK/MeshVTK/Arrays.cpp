// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/Arrays.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/detail/ArrayValues.h>

#include <vtkDataArray.h>
#include <vtkDataSetAttributes.h>

namespace KetSDK::MeshVTK {

vtkDataArray* FindArray(vtkDataSetAttributes& arrays, std::string const& name) {
    vtkAbstractArray* const array = arrays.GetAbstractArray(name.c_str());
    vtkDataArray* const numbers = vtkDataArray::SafeDownCast(array);
    if (array && !numbers)
        throw Error(Detail::Quoted(*array) + " must hold numbers");
    return numbers;
}

std::string DescribeArrays(vtkDataSetAttributes& arrays, std::string const& kind) {
    std::string list;
    for (int i = 0; i < arrays.GetNumberOfArrays(); ++i)
        if (char const* const name = arrays.GetArrayName(i))
            list += (list.empty() ? "" : ", ") + std::string(name);
    return list.empty() ? "there are no " + kind + " arrays" : "the " + kind + " arrays are " + list;
}

void CheckShape(vtkDataArray& array, vtkIdType count) {
    if (array.GetNumberOfComponents() != 1)
        throw Error(Detail::Quoted(array) + " has " + std::to_string(array.GetNumberOfComponents()) +
                    " components instead of one");
    if (array.GetNumberOfTuples() != count)
        throw Error(Detail::Quoted(array) + " has " + std::to_string(array.GetNumberOfTuples()) +
                    " values instead of " + std::to_string(count));
}

} // namespace KetSDK::MeshVTK
