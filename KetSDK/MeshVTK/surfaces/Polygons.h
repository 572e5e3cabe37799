#pragma once

#include <vtkCellArray.h>
#include <vtkNew.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkSmartPointer.h>

#include <initializer_list>
#include <span>

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
    void AddPolygon(std::span<vtkIdType const> corners) {
        m_polygons->InsertNextCell(static_cast<vtkIdType>(corners.size()), corners.data());
    }
    vtkSmartPointer<vtkPolyData> Get() {
        auto data = vtkSmartPointer<vtkPolyData>::New();
        data->SetPoints(m_points);
        data->SetPolys(m_polygons);
        return data;
    }

private:
    vtkNew<vtkPoints> m_points; // floats, unless told otherwise
    vtkNew<vtkCellArray> m_polygons;
};

} // namespace KetSDK::MeshVTK::Detail
