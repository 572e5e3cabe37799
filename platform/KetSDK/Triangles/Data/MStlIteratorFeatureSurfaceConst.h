// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Triangles/Data/MStlBase.h>

#include <cstdint>

// Walks the surfaces of a container, in the container's order:
//   for (auto i = MStlIteratorFeatureSurfaceConst::Begin(stl);
//        i != MStlIteratorFeatureSurfaceConst::End(stl); ++i)
// The container must outlive it. Concurrent walks are safe.
class MStlIteratorFeatureSurfaceConst {
public:
    // At the first surface, and behind the last one, of a container.
    static MStlIteratorFeatureSurfaceConst Begin(MStlBase const* stl) noexcept { return {stl, 0}; }
    static MStlIteratorFeatureSurfaceConst End(MStlBase const* stl) noexcept {
        return {stl, stl->NumberOfSurfaces()};
    }

    MStlIteratorFeatureSurfaceConst& operator++() noexcept {
        ++m_index;
        return *this;
    }
    bool operator==(MStlIteratorFeatureSurfaceConst const&) const noexcept = default;

    // The surface that the iterator stands at.
    operator MStlSurface const*() const noexcept { return m_stl->GetSurface(m_index); }
    MStlSurface const* operator->() const noexcept { return *this; }
    MStlSurface const& operator*() const noexcept { return *m_stl->GetSurface(m_index); }

private:
    MStlIteratorFeatureSurfaceConst(MStlBase const* stl, std::uint64_t index) noexcept
        : m_stl(stl)
        , m_index(index) {}

    MStlBase const* m_stl;
    std::uint64_t m_index;
};
