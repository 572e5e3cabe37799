// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/ArrayNames.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkFieldData.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkSmartPointer.h>
#include <vtkStringArray.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

// What the readers of surface files collect: points with coordinates in single precision, as these files hold
// them, and polygons of their numbers.
class Polygons {
public:
    // Returns the number of the point, from 0.
    vtkIdType AddPoint(std::span<double const, 3> position) {
        return m_points->InsertNextPoint(static_cast<float>(position[0]), static_cast<float>(position[1]),
                                         static_cast<float>(position[2]));
    }
    // The polygons that follow belong to a surface of that name: the one that is there, or a new one.
    void BeginSurface(std::string const& name, bool always_new = false) {
        auto const found = always_new ? m_names.end() : std::ranges::find(m_names, name);
        m_surface = static_cast<int>(found - m_names.begin());
        if (found == m_names.end())
            m_names.push_back(name);
    }
    std::size_t NumberOfSurfaces() const noexcept { return m_names.size(); }
    void AddPolygon(std::span<vtkIdType const> corners) {
        m_numbers->InsertNextValue(m_surface);
        m_polygons->InsertNextCell(static_cast<vtkIdType>(corners.size()), corners.data());
    }
    vtkSmartPointer<vtkPolyData> Get() {
        auto data = vtkSmartPointer<vtkPolyData>::New();
        data->SetPoints(m_points);
        data->SetPolys(m_polygons);
        return data;
    }
    // The same with the names of the surfaces; every polygon belongs to one.
    vtkSmartPointer<vtkPolyData> GetWithSurfaces() {
        auto data = Get();
        vtkNew<vtkStringArray> names;
        names->SetName(ArrayNames::SurfaceNames);
        for (std::string const& name : m_names)
            names->InsertNextValue(name);
        m_numbers->SetName(ArrayNames::Surface);
        data->GetCellData()->AddArray(m_numbers);
        data->GetFieldData()->AddArray(names);
        return data;
    }

private:
    vtkNew<vtkPoints> m_points; // floats, unless told otherwise
    vtkNew<vtkCellArray> m_polygons;
    vtkNew<vtkIntArray> m_numbers; // of the surface of each polygon
    std::vector<std::string> m_names;
    int m_surface = 0;
};

} // namespace KetSDK::MeshVTK::Detail
