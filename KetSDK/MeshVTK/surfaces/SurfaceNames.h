// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/ArrayNames.h>

#include <vtkCellData.h>
#include <vtkDataArray.h>
#include <vtkFieldData.h>
#include <vtkPolyData.h>
#include <vtkStringArray.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

namespace KetSDK::MeshVTK::Detail {

// The name of the surface of each triangle, where it changes.
class SurfaceNames {
public:
    explicit SurfaceNames(vtkPolyData& data)
        : m_numbers(vtkDataArray::SafeDownCast(data.GetCellData()->GetAbstractArray(ArrayNames::Surface)))
        , m_names(
              vtkStringArray::SafeDownCast(data.GetFieldData()->GetAbstractArray(ArrayNames::SurfaceNames))) {
    }

    // Nothing where the surface goes on or its name is not known.
    std::optional<std::string> Before(vtkIdType triangle) {
        if (!m_numbers || !m_names)
            return {};
        auto const number = static_cast<vtkIdType>(m_numbers->GetComponent(triangle, 0));
        if (number == std::exchange(m_last, number) || number < 0 || number >= m_names->GetNumberOfValues())
            return {};
        std::string name = m_names->GetValue(number);
        std::ranges::replace_if(
            name, [](unsigned char c) { return c < ' '; }, '_');
        return name;
    }

private:
    vtkDataArray* m_numbers;
    vtkStringArray* m_names;
    vtkIdType m_last = -1;
};

} // namespace KetSDK::MeshVTK::Detail
