// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <new>

// Many triangles that go into the first surface of a container at once, for whoever knows how many. Each is
// made by any thread, when its corners are known; the container comes by all of them with Finish. Until then
// it takes no other triangle.
class KETSDK_API MStlNewTriangles {
public:
    using Corners = std::array<MStlPoint*, 3>;

    // Makes room for so many, and a surface when there is none. Out of memory, there is no triangle.
    MStlNewTriangles(MStlBase& stl, std::uint64_t count);
    MStlNewTriangles(MStlNewTriangles const&) = delete;
    MStlNewTriangles& operator=(MStlNewTriangles const&) = delete;
    // Without Finish, there are no triangles.
    ~MStlNewTriangles();

    // Enters triangle i in the lists of its corners, where the container keeps these. For one triangle after
    // another, on the thread that adds to the container; the triangle need not have been made.
    void EnterInLists(std::uint64_t i, Corners const& corners) {
        if (m_stl.m_keep_neighbours)
            m_stl.AddNeighbours(*At(i), corners[0], corners[1], corners[2]);
    }
    // The same for the three triangles, by ascending number, that meet at a corner of a tetrahedron.
    void EnterInList(MStlPoint& corner, std::array<std::uint64_t, 3> const& triangles) {
        if (m_stl.m_keep_neighbours)
            m_stl.AddNeighbours(corner, {At(triangles[0]), At(triangles[1]), At(triangles[2])});
    }
    // Makes triangle i, once for each.
    void Make(std::uint64_t i, Corners const& corners, MMVector<float, 3> const& normal) noexcept {
        auto* const triangle = ::new (static_cast<void*>(At(i)))
            DLIST_ELEMENT<MStlTriangle>(corners[0], corners[1], corners[2], m_surface);
        triangle->SetNormalFloat(normal);
        m_surface->m_triangles.Link(i, m_count, [this](std::uint64_t k) { return At(k); });
    }
    // To be called when all have been made.
    void Finish() noexcept;

private:
    DLIST_ELEMENT<MStlTriangle>* At(std::uint64_t i) noexcept {
        return &m_stl.m_triangles[m_first + static_cast<std::size_t>(i)];
    }

    MStlBase& m_stl;
    std::uint64_t m_count;
    std::size_t m_first = 0;
    MStlSurface* m_surface = nullptr; // none without triangles
    bool m_is_finished = false;
};
