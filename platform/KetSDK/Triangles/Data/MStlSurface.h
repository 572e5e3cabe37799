// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Triangles/Data/DLIST.h>
#include <KetSDK/Triangles/Data/MStlFeatureItem.h>
#include <KetSDK/Triangles/Data/MStlRange.h>
#include <KetSDK/Triangles/Data/MStlTriangle.h>

#include <cstdint>

class MStlBase;

// A named list of triangles inside a surface container, which owns the triangles and their points. It
// is made by MStlBase::AddSurface and stays at its address. One thread at a time adds to a container.
class KETSDK_API MStlSurface : public MStlFeatureItem {
public:
    using TriangleRange = MStlRange<DLIST<MStlTriangle>::Iterator<MStlTriangle>>;
    using ConstTriangleRange = MStlRange<DLIST<MStlTriangle>::Iterator<MStlTriangle const>>;

    // Lets the container alone make surfaces.
    class Access {
        friend class MStlBase;
        Access() = default;
    };
    MStlSurface(Access, MStlBase& base, std::uint32_t index) noexcept;
    ~MStlSurface() override;

    // Appends the triangle with these corners, points of the surface's container, in winding order.
    // Null, and nothing is added, when two of them are the same point.
    DLIST_ELEMENT<MStlTriangle>* AddTriangle(MStlPoint* p, MStlPoint* q, MStlPoint* r);
    // The same for three positions (x, y, z in internal units), where the container's points are used
    // or added. Null, and not even a point is added, when two of the positions are the same.
    DLIST_ELEMENT<MStlTriangle>* AddTriangle(MLong const* p, MLong const* q, MLong const* r);

    std::uint64_t NumberOfTriangles() const noexcept { return m_triangles.GetCount(); }
    // The triangles in order of addition: for (MStlTriangle& t : surface.Triangles()).
    TriangleRange Triangles() noexcept {
        return {DLIST<MStlTriangle>::Iterator<MStlTriangle>(m_triangles.First()), {}};
    }
    ConstTriangleRange Triangles() const noexcept {
        return {DLIST<MStlTriangle>::Iterator<MStlTriangle const>(m_triangles.First()), {}};
    }
    // The first triangle's list element, null when there is none; the others follow with Next().
    DLIST_ELEMENT<MStlTriangle>* FirstTriangle() noexcept { return m_triangles.First(); }
    DLIST_ELEMENT<MStlTriangle> const* FirstTriangle() const noexcept { return m_triangles.First(); }

    // The container that the surface belongs to.
    MStlBase* GetBase() const noexcept { return m_base; }
    // The surface's index in its container.
    std::uint32_t GetIndex() const noexcept { return m_index; }

    // The sum of the triangles' areas, in squared model units.
    double GetArea() const noexcept;
    // True when there are triangles and every edge lies in exactly two of them. Edges are told apart by
    // their points: copies of a point at one position cut a surface open.
    bool IsClosed() const;

private:
    friend class MStlBase;
    friend class MStlNewTriangles;

    MStlBase* m_base;
    std::uint32_t m_index;
    DLIST<MStlTriangle> m_triangles;
};
