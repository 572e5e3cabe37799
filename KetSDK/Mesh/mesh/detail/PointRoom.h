// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshPointContainer.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Room for nodes at the end of a container, to be filled on any thread while the container goes on growing.
// The nodes belong to the container when it settles them.
class PointRoom {
public:
    PointRoom() = default;
    // Out of memory, nothing is claimed.
    PointRoom(MMeshPointContainer& container, std::size_t count);

    // Makes a node at each of as many positions, with its own number as mask index. Returns their box.
    MMeshBase::BoundingBox MakeNumbered(std::span<std::array<MLong, 3> const> positions) const noexcept;

private:
    std::uint64_t m_first = 0;
    std::vector<MMeshPoint*> m_blocks; // that of the first one and those behind it
};

} // namespace KetSDK::Mesh::Detail
