// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshPointContainer.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/MMeshPointMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Support/MPrefetch.h>

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <span>
#include <stdexcept>
#include <vector>

using KetSDK::Support::MPositionTable;

namespace {

using Position = std::array<MLong, 3>;

} // namespace

MMeshPointContainer::MMeshPointContainer() = default;
MMeshPointContainer::~MMeshPointContainer() = default;

MMeshPointContainer::MMeshPointContainer(MMeshPointContainer const& other) {
    for (MMeshPoint const& p : other.m_points)
        Append(p.x, p.y, p.z);
}

MMeshPoint& MMeshPointContainer::AddPoint(MLong x, MLong y, MLong z) {
    if (!m_index)
        return Append(x, y, z);
    m_index->Reserve(m_index->NumberOfObjects() + 1);
    MPositionTable::Slot const slot = SlotOf(x, y, z);
    if (auto const known = m_index->NumberAt(slot); known != MPositionTable::None)
        return m_points[known];
    MMeshPoint& node = Append(x, y, z);
    m_index->Enter(slot, static_cast<MPositionTable::Number>(node.GetIndex()));
    return node;
}

MPositionTable::Slot MMeshPointContainer::SlotOf(MLong x, MLong y, MLong z) const noexcept {
    return m_index->Find(x, y, z, [&](MPositionTable::Number number) {
        MMeshPoint const& node = m_points[number];
        return node.x == x && node.y == y && node.z == z;
    });
}

std::uint64_t MMeshPointContainer::ClaimPoints(std::uint64_t count) {
    if (count > std::numeric_limits<MLong>::max() - m_points.size())
        throw std::runtime_error("invalid state");
    return m_points.Claim(static_cast<std::size_t>(count));
}

void MMeshPointContainer::ShrinkTo(std::uint64_t count) noexcept {
    m_points.ShrinkTo(static_cast<std::size_t>(count));
}

void MMeshPointContainer::CreateCoordinateIndex() {
    if (!m_index)
        m_index = std::make_unique<MPositionTable>();
}

void MMeshPointContainer::ReserveCoordinateIndex(std::uint64_t count) {
    if (m_index)
        m_index->Reserve(static_cast<std::size_t>(count));
}

void MMeshPointContainer::DropCoordinateIndex() noexcept {
    m_index.reset();
}

std::vector<std::uint32_t> MMeshPointContainer::GetIndexedNodes() const {
    return m_index ? m_index->Numbers() : std::vector<MPositionTable::Number>();
}

void MMeshPointContainer::UpdateCoordinateIndex() {
    if (!m_index)
        return;
    std::unique_ptr<MPositionTable> const before = std::move(m_index);
    CreateCoordinateIndex(before->Numbers());
}

void MMeshPointContainer::CreateCoordinateIndex(std::vector<std::uint32_t> const& nodes) {
    auto index = std::make_unique<MPositionTable>();
    index->Reserve(nodes.size());
    m_index = std::move(index);
    for (MPositionTable::Number const number : nodes) {
        MMeshPoint const& node = m_points[number];
        MPositionTable::Slot const slot = SlotOf(node.x, node.y, node.z);
        if (m_index->NumberAt(slot) == MPositionTable::None)
            m_index->Enter(slot, number);
    }
}

void MMeshPointContainer::PrefetchPoint(MLong x, MLong y, MLong z) const noexcept {
    if (m_index)
        m_index->Prefetch(x, y, z);
}

void MMeshPointContainer::PrefetchFoundPoint(MLong x, MLong y, MLong z) const noexcept {
    if (!m_index)
        return;
    if (auto const number = m_index->Guess(x, y, z); number != MPositionTable::None)
        KetSDK::Support::Prefetch(&m_points[number]);
}

void MMeshPointContainer::Clear() noexcept {
    m_index.reset();
    m_points.Clear();
}

namespace {

constexpr std::size_t NodesAtOnce = 1024;

} // namespace

void MMeshPointContainer::SavePointsToFile(MFile* file) const {
    file->WRITE(static_cast<std::uint32_t>(m_points.size()));
    std::vector<MLong> coordinates;
    coordinates.reserve(3 * NodesAtOnce);
    for (MMeshPoint const& p : m_points) {
        coordinates.insert(coordinates.end(), {p.x, p.y, p.z});
        if (coordinates.size() == 3 * NodesAtOnce) {
            file->WriteArray<MLong>(coordinates);
            coordinates.clear();
        }
    }
    file->WriteArray<MLong>(coordinates);
}

void MMeshPointContainer::LoadPointsFromFile(MMeshBase* mesh, MFile* file) {
    auto const count = file->READ<std::uint32_t>();
    constexpr std::uint64_t bytes_per_node = 3 * sizeof(MLong);
    if (!file->IsGood() || count > file->BytesLeft() / bytes_per_node)
        throw std::runtime_error("invalid state");
    if (m_index)
        LoadUnderIndex(count, mesh, file);
    else
        LoadAppending(count, mesh, file);
}

// Every node goes through the index. Read before anything is appended: a block that is cut off changes
// nothing.
void MMeshPointContainer::LoadUnderIndex(std::uint32_t count, MMeshBase* mesh, MFile* file) {
    std::vector<Position> positions(count);
    for (Position& p : positions)
        for (MLong& c : p)
            c = file->READ<MLong>();
    if (!file->IsGood())
        throw std::runtime_error("invalid state");

    for (Position const& p : positions) {
        AddPoint(p.data());
        // The last node, also where the coordinate index returned an earlier one.
        mesh->GetPointMasks()->RegisterMaskObject(m_points.back());
    }
}

// Nothing is registered before all nodes are there; those of a block that is cut off go again.
void MMeshPointContainer::LoadAppending(std::uint32_t count, MMeshBase* mesh, MFile* file) {
    std::size_t const size_before = m_points.size();
    try {
        std::array<MLong, 3 * NodesAtOnce> coordinates;
        for (std::size_t left = count; left > 0;) {
            std::size_t const nodes = std::min(left, NodesAtOnce);
            if (!file->ReadArray(std::span(coordinates.data(), 3 * nodes)))
                throw std::runtime_error("invalid state");
            for (std::size_t i = 0; i < nodes; ++i)
                Append(coordinates[3 * i], coordinates[3 * i + 1], coordinates[3 * i + 2]);
            left -= nodes;
        }
        auto node = m_points.begin() + static_cast<std::ptrdiff_t>(size_before);
        mesh->GetPointMasks()->RegisterMaskObjects(count, [&node]() -> MMeshPoint& { return *node++; });
    } catch (...) {
        ShrinkTo(size_before);
        throw;
    }
}

std::size_t MMeshPointContainer::MemoryUsed() const noexcept {
    return m_points.MemoryUsed() + (m_index ? m_index->MemoryUsed() : 0);
}

MMeshPoint& MMeshPointContainer::Append(MLong x, MLong y, MLong z) {
    if (m_points.size() >= std::numeric_limits<MLong>::max())
        throw std::runtime_error("invalid state");
    MMeshPoint& node = m_points.emplace_back(x, y, z);
    node.m_index = static_cast<MLong>(m_points.size() - 1);
    return node;
}

void MMeshPointContainer::RemoveLast() noexcept {
    MMeshPoint const& node = m_points.back();
    if (m_index)
        m_index->Leave(SlotOf(node.x, node.y, node.z));
    m_points.ShrinkTo(m_points.size() - 1);
}
