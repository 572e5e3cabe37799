// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/Data/MStlSurface.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace {

bool SamePosition(MLong const* p, MLong const* q) noexcept {
    return std::equal(p, p + 3, q);
}

} // namespace

MStlSurface::MStlSurface(Access, MStlBase& base, std::uint32_t index) noexcept
    : m_base(&base)
    , m_index(index) {}

MStlSurface::~MStlSurface() = default;

DLIST_ELEMENT<MStlTriangle>* MStlSurface::AddTriangle(MStlPoint* p, MStlPoint* q, MStlPoint* r) {
    if (p == q || q == r || r == p)
        return nullptr;
    return m_base->AddTriangle(p, q, r, this);
}

DLIST_ELEMENT<MStlTriangle>* MStlSurface::AddTriangle(MLong const* p, MLong const* q, MLong const* r) {
    if (SamePosition(p, q) || SamePosition(q, r) || SamePosition(r, p))
        return nullptr;
    MStlPoint* const first = m_base->AddPoint(p, false);
    MStlPoint* const second = m_base->AddPoint(q, false);
    MStlPoint* const third = m_base->AddPoint(r, false);
    return AddTriangle(first, second, third);
}

double MStlSurface::GetArea() const noexcept {
    double area = 0.0;
    for (MStlTriangle const& triangle : Triangles())
        area += triangle.GetPositions().Area();
    return area;
}

bool MStlSurface::IsClosed() const {
    using Edge = std::pair<MLong, MLong>;
    std::vector<Edge> edges;
    edges.reserve(static_cast<std::size_t>(3 * NumberOfTriangles()));
    for (MStlTriangle const& triangle : Triangles())
        for (std::size_t i = 0; i < 3; ++i)
            edges.push_back(std::minmax<MLong>(
                {triangle.GetPoint(i)->GetIndex(), triangle.GetPoint((i + 1) % 3)->GetIndex()}));
    std::sort(edges.begin(), edges.end());
    for (auto edge = edges.begin(); edge != edges.end();) {
        auto const next = std::find_if(edge, edges.end(), [edge](Edge const& e) { return e != *edge; });
        if (next - edge != 2)
            return false;
        edge = next;
    }
    return !edges.empty();
}
