// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Triangles/Data/MStlNewTriangles.h>

MStlNewTriangles::MStlNewTriangles(MStlBase& stl, std::uint64_t count)
    : m_stl(stl)
    , m_count(count) {
    if (count == 0)
        return;
    m_surface = &stl.FirstSurface();
    m_first = stl.m_triangles.Claim(static_cast<std::size_t>(count));
}

MStlNewTriangles::~MStlNewTriangles() {
    if (m_is_finished)
        return;
    m_stl.m_triangles.Settle(false);
    m_stl.RestoreNeighbours();
}

void MStlNewTriangles::Finish() noexcept {
    m_is_finished = true;
    m_stl.m_triangles.Settle(true);
    if (m_surface)
        m_surface->m_triangles.Append(m_count, [this](std::uint64_t i) { return At(i); });
}
