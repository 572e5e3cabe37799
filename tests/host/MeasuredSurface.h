// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vtkCell.h>
#include <vtkCellData.h>
#include <vtkDataSet.h>
#include <vtkIdList.h>
#include <vtkMath.h>
#include <vtkPolyData.h>
#include <vtkTriangle.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <numeric>
#include <set>
#include <utility>
#include <vector>

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

// How many regions of each label hang together by faces, by nothing but the corners of the cells: sets that
// are joined where two tetrahedra of one label have a face in common.
inline std::map<double, int> CountRegions(vtkDataSet& grid, char const* labels) {
    vtkDataArray& label = *grid.GetCellData()->GetArray(labels);
    std::vector<vtkIdType> joined(static_cast<std::size_t>(grid.GetNumberOfCells()));
    std::iota(joined.begin(), joined.end(), vtkIdType{0});
    auto const first_of = [&joined](vtkIdType i) {
        while (joined[static_cast<std::size_t>(i)] != i)
            i = joined[static_cast<std::size_t>(i)];
        return i;
    };
    std::map<std::set<vtkIdType>, vtkIdType> faces;
    std::map<double, int> regions;
    for (vtkIdType i = 0; i < grid.GetNumberOfCells(); ++i) {
        double const own = label.GetComponent(i, 0);
        ++regions[own];
        for (int f = 0; f < 4; ++f) {
            vtkIdList& ids = *grid.GetCell(i)->GetFace(f)->GetPointIds();
            auto const [face, is_new] = faces.try_emplace({ids.GetId(0), ids.GetId(1), ids.GetId(2)}, i);
            if (is_new || label.GetComponent(face->second, 0) != own)
                continue;
            vtkIdType const a = first_of(face->second), b = first_of(i);
            joined[static_cast<std::size_t>(std::max(a, b))] = std::min(a, b);
            regions[own] -= a != b;
        }
    }
    return regions;
}

inline Measured MeasureAll(vtkPolyData& data) {
    Measured measured;
    for (vtkIdType i = 0; i < data.GetNumberOfCells(); ++i)
        measured.Add(data, i);
    return measured;
}
