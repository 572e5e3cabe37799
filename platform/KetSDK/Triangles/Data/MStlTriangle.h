// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MDataMaskIndex.h>
#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Math/MathCore/MTriangle.h>
#include <KetSDK/Triangles/Data/MStlColor.h>
#include <KetSDK/Triangles/Data/MStlPoint.h>

#include <array>
#include <cstddef>

class MStlSurface;

// A triangle of a surface: three points of its container in winding order, a normal and a colour. It
// stays at its address for as long as its container keeps it. Concurrent reads are safe.
class KETSDK_API MStlTriangle : public MDataMaskIndex {
public:
    // Without normal and colour. Triangles are made by their container, which enters them in the
    // lists of surface and points.
    MStlTriangle(MStlPoint* p, MStlPoint* q, MStlPoint* r, MStlSurface* surface) noexcept
        : m_points{p, q, r}
        , m_surface(surface) {}
    MStlTriangle(MStlTriangle const&) = delete;
    MStlTriangle& operator=(MStlTriangle const&) = delete;

    // Corner i, 0 to 2.
    MStlPoint* GetPoint(std::size_t i) const noexcept { return m_points[i]; }
    // Which corner the point is; -1 when it is none.
    int IndexOfPoint(MStlPoint const* point) const noexcept {
        for (int i = 0; i < 3; ++i)
            if (m_points[static_cast<std::size_t>(i)] == point)
                return i;
        return -1;
    }
    // The corners' positions, in model units.
    MTriangle<double, 3> GetPositions() const noexcept {
        return {m_points[0]->GetPosition(), m_points[1]->GetPosition(), m_points[2]->GetPosition()};
    }

    // The surface that holds the triangle.
    MStlSurface* GetSurface() const noexcept { return m_surface; }

    // The normal that was given to the triangle, which need not agree with its winding; the zero vector
    // when none was.
    MMVector<float, 3> const& GetNormalFloat() const noexcept { return m_normal; }
    void SetNormalFloat(MMVector<float, 3> const& normal) noexcept { m_normal = normal; }

    // The colour; undefined when none was given.
    MStlColor const& GetColor() const noexcept { return m_color; }
    void SetColor(MStlColor const& color) noexcept { m_color = color; }

private:
    std::array<MStlPoint*, 3> m_points;
    MStlSurface* m_surface;
    MMVector<float, 3> m_normal;
    MStlColor m_color;
};
