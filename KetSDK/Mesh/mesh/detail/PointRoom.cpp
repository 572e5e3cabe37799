// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/detail/PointRoom.h>

#include <KetSDK/Support/MPrefetch.h>

namespace KetSDK::Mesh::Detail {

namespace {

constexpr std::uint64_t InBlock = MMeshPointContainer::NodesPerBlock;

} // namespace

PointRoom::PointRoom(MMeshPointContainer& container, std::size_t count) {
    m_blocks.reserve(count / InBlock + 2);
    m_first = container.m_points.Claim(count);
    for (std::uint64_t i = m_first / InBlock * InBlock; i < m_first + count; i += InBlock)
        m_blocks.push_back(&container.m_points[static_cast<std::size_t>(i)]);
}

MMeshBase::BoundingBox
PointRoom::MakeNumbered(std::span<std::array<MLong, 3> const> positions) const noexcept {
    MMeshBase::BoundingBox box;
    std::uint64_t number = m_first;
    for (std::array<MLong, 3> const& position : positions) {
        std::uint64_t const at = number - m_first / InBlock * InBlock;
        MMeshPoint* const place = m_blocks[static_cast<std::size_t>(at / InBlock)] + at % InBlock;
        Support::PrefetchAheadToWrite(place);
        MMeshPointContainer::MakePoint(place, number, position).SetMaskIndex(number);
        box.Widen({position[0], position[1], position[2]});
        ++number;
    }
    return box;
}

} // namespace KetSDK::Mesh::Detail
