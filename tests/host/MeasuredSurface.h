#pragma once

#include <vtkCell.h>
#include <vtkIdList.h>
#include <vtkMath.h>
#include <vtkPolyData.h>
#include <vtkTriangle.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <utility>

// What a surface must agree with, from nothing but the triangles in the file.
struct Measured {
    std::uint64_t triangles = 0;
    double area = 0.0;
    double enclosed = 0.0; // by the divergence theorem
    std::map<std::pair<vtkIdType, vtkIdType>, int> edges;

    void Add(vtkPolyData& data, vtkIdType cell) {
        double p[3][3];
        vtkIdList& ids = *data.GetCell(cell)->GetPointIds();
        for (int i = 0; i < 3; ++i) {
            data.GetPoint(ids.GetId(i), p[i]);
            ++edges[std::minmax(ids.GetId(i), ids.GetId((i + 1) % 3))];
        }
        ++triangles;
        area += vtkTriangle::TriangleArea(p[0], p[1], p[2]);
        enclosed += vtkMath::Determinant3x3(p[0], p[1], p[2]) / 6.0;
    }
    bool IsClosed() const {
        return std::all_of(edges.begin(), edges.end(), [](auto const& edge) { return edge.second == 2; });
    }
};

inline Measured MeasureAll(vtkPolyData& data) {
    Measured measured;
    for (vtkIdType i = 0; i < data.GetNumberOfCells(); ++i)
        measured.Add(data, i);
    return measured;
}
