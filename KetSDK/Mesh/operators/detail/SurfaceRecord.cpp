// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/detail/SurfaceRecord.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

SurfaceRecord::SurfaceRecord(MSurfaceOrigins* origins, MStlBase const& stl)
    : m_origins(origins)
    , m_stl(stl) {
    if (!origins)
        return;
    *origins = {};
    origins->triangles.resize(static_cast<std::size_t>(stl.NumberOfTriangles()));
    origins->points.resize(static_cast<std::size_t>(stl.NumberOfPoints()), -1);
    origins->surfaces.resize(static_cast<std::size_t>(stl.NumberOfSurfaces()));
}

void SurfaceRecord::SetPoint(MStlPoint const& point, MLong node) {
    auto const index = static_cast<std::size_t>(point.GetIndex());
    if (index >= m_origins->points.size())
        m_origins->points.resize(index + 1, -1);
    if (m_origins->points[index] < 0)
        m_origins->points[index] = node;
}

void SurfaceRecord::Finish() {
    if (!m_origins)
        return;
    m_origins->points.resize(static_cast<std::size_t>(m_stl.NumberOfPoints()), -1);
    m_origins->surfaces.resize(static_cast<std::size_t>(m_stl.NumberOfSurfaces()));
    std::vector<std::size_t> next; // where the next triangle of each surface goes
    std::size_t count = 0;
    for (MStlSurface const& surface : m_stl.Surfaces()) {
        next.push_back(count);
        count += static_cast<std::size_t>(surface.NumberOfTriangles());
    }
    if (next.size() < 2)
        return;
    std::vector<MSurfaceOrigins::Triangle> ordered(count);
    auto recorded = m_origins->triangles.cbegin();
    for (MStlTriangle const& triangle : m_stl.Triangles())
        ordered[next[triangle.GetSurface()->GetIndex()]++] = *recorded++;
    m_origins->triangles = std::move(ordered);
}

} // namespace KetSDK::Mesh::Detail
