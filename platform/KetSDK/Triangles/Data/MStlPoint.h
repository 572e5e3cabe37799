// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MDataMaskIndex.h>
#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Math/MathCore/MMVector.h>

#include <cstdint>

class MStlTriangle;

// A corner of surface triangles, or a vertex of a graph: an integer position in internal units. It stays
// at its address for as long as its container keeps it. Concurrent reads are safe.
class MStlPoint : public MDataMaskIndex {
public:
    // A point at a position in internal units; its container gives the index.
    MStlPoint(MLong x, MLong y, MLong z, MLong index) noexcept
        : m_x(x)
        , m_y(y)
        , m_z(z)
        , m_index(index) {}
    MStlPoint(MStlPoint const&) = delete;
    MStlPoint& operator=(MStlPoint const&) = delete;

    // The position in internal units.
    MLong GetX() const noexcept { return m_x; }
    MLong GetY() const noexcept { return m_y; }
    MLong GetZ() const noexcept { return m_z; }
    // The position in model units, exact.
    MMVector<double, 3> GetPosition() const noexcept {
        double const units = KetSDK::Common::MInternalUnits::Get();
        return {m_x / units, m_y / units, m_z / units};
    }

    // The index among the points of the surface container or the vertices of the graph.
    MLong GetIndex() const noexcept { return m_index; }

    // The triangles that have this point as a corner, in order of addition, each once. None while the
    // container does not keep neighbour information, and none for a vertex of a graph.
    std::uint32_t GetNumberOfNeighbourTriangles() const noexcept { return m_triangle_count; }
    // Triangle i of these, not range-checked.
    MStlTriangle* GetNeighbourTriangle(std::uint32_t i) const noexcept { return m_triangles[i]; }

private:
    friend class MStlBase;

    MLong m_x;
    MLong m_y;
    MLong m_z;
    MLong m_index;
    // Kept by the container; its room follows from the count.
    std::uint32_t m_triangle_count = 0;
    MStlTriangle** m_triangles = nullptr;
};
