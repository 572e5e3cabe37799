// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshPointContainer.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/MMeshPointMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/MHash.h>
#include <KetSDK/Support/MPrefetch.h>

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <span>
#include <stdexcept>
#include <vector>

namespace {

using Position = std::array<MLong, 3>;

} // namespace

// A hash table from positions to node numbers: sixteen bytes an entry that hold all a look-up needs, so that
// it costs one access to memory, which can be fetched ahead.
class MMeshPointContainer::CoordinateIndex {
public:
    using Number = std::uint32_t;
    static constexpr Number None = std::numeric_limits<Number>::max();

    CoordinateIndex()
        : m_entries(1024, FreeEntry) {}

    void Prefetch(Position const& p) const noexcept { KetSDK::Support::Prefetch(&m_entries[EntryOf(p)]); }

    // The number that was entered for a position; None when there is none.
    Number Find(Position const& p) const noexcept { return m_entries[Lookup(p)].node; }
    // Makes room for one more position.
    void MakeRoom() {
        if (2 * (m_count + 1) > m_entries.size())
            Resize(2 * m_entries.size());
    }
    // Makes room for so many positions in all.
    void Reserve(std::uint64_t count) {
        if (2 * count > m_entries.size())
            Resize(static_cast<std::size_t>(2 * count));
    }
    // Enters a number for a position that has none yet, for which there is room.
    void Enter(Position const& p, Number node) noexcept {
        m_entries[Lookup(p)] = {p, node};
        ++m_count;
    }
    // Takes back what was entered last; no other entry stands behind it for its sake.
    void Leave(Position const& p) noexcept {
        m_entries[Lookup(p)] = FreeEntry;
        --m_count;
    }
    // The numbers that were entered, ascending.
    std::vector<Number> Nodes() const {
        std::vector<Number> nodes;
        for (Entry const& entry : m_entries)
            if (entry.node != None)
                nodes.push_back(entry.node);
        std::ranges::sort(nodes);
        return nodes;
    }
    std::size_t MemoryUsed() const noexcept { return m_entries.capacity() * sizeof(Entry); }

private:
    struct Entry {
        Position position;
        Number node;
    };
    static constexpr Entry FreeEntry{{0, 0, 0}, None};
    // In small pages the processor would look for the page of an entry as long as for the entry.
    using Entries = std::vector<Entry, KetSDK::Support::MLargePageAllocator<Entry>>;

    // The high bits of the hash say where in the table, of whatever size, a position belongs.
    std::size_t EntryOf(Position const& p) const noexcept {
        std::uint64_t const hash = KetSDK::Support::HashOfPosition(p[0], p[1], p[2]) >> 32;
        return static_cast<std::size_t>((hash * m_entries.size()) >> 32);
    }
    // Comparing the arrays would call a function.
    static bool IsSame(Position const& p, Position const& q) noexcept {
        return p[0] == q[0] && p[1] == q[1] && p[2] == q[2];
    }
    // The entry in which a position stands, or the free one where it belongs.
    std::size_t Lookup(Position const& p) const noexcept {
        std::size_t entry = EntryOf(p);
        while (m_entries[entry].node != None && !IsSame(m_entries[entry].position, p))
            entry = entry + 1 < m_entries.size() ? entry + 1 : 0;
        return entry;
    }
    void Resize(std::size_t size) {
        Entries before(size, FreeEntry);
        m_entries.swap(before);
        for (Entry const& entry : before)
            if (entry.node != None)
                m_entries[Lookup(entry.position)] = entry;
    }

    Entries m_entries; // half of them at least are free
    std::size_t m_count = 0;
};

MMeshPointContainer::MMeshPointContainer() = default;
MMeshPointContainer::~MMeshPointContainer() = default;

MMeshPointContainer::MMeshPointContainer(MMeshPointContainer const& other) {
    for (MMeshPoint const& p : other.m_points)
        Append(p.x, p.y, p.z);
}

MMeshPoint& MMeshPointContainer::AddPoint(MLong x, MLong y, MLong z) {
    if (!m_index)
        return Append(x, y, z);
    Position const position{x, y, z};
    CoordinateIndex::Number const known = m_index->Find(position);
    if (known != CoordinateIndex::None)
        return m_points[known];
    m_index->MakeRoom();
    MMeshPoint& node = Append(x, y, z);
    m_index->Enter(position, static_cast<CoordinateIndex::Number>(node.GetIndex()));
    return node;
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
        m_index = std::make_unique<CoordinateIndex>();
}

void MMeshPointContainer::ReserveCoordinateIndex(std::uint64_t count) {
    if (m_index)
        m_index->Reserve(count);
}

void MMeshPointContainer::DropCoordinateIndex() noexcept {
    m_index.reset();
}

std::vector<std::uint32_t> MMeshPointContainer::GetIndexedNodes() const {
    return m_index ? m_index->Nodes() : std::vector<CoordinateIndex::Number>();
}

void MMeshPointContainer::UpdateCoordinateIndex() {
    if (!m_index)
        return;
    std::unique_ptr<CoordinateIndex> const before = std::move(m_index);
    CreateCoordinateIndex(before->Nodes());
}

void MMeshPointContainer::CreateCoordinateIndex(std::vector<std::uint32_t> const& nodes) {
    auto index = std::make_unique<CoordinateIndex>();
    for (CoordinateIndex::Number const number : nodes) {
        Position const position{m_points[number].x, m_points[number].y, m_points[number].z};
        if (index->Find(position) != CoordinateIndex::None)
            continue;
        index->MakeRoom();
        index->Enter(position, number);
    }
    m_index = std::move(index);
}

void MMeshPointContainer::PrefetchPoint(MLong x, MLong y, MLong z) const noexcept {
    if (m_index)
        m_index->Prefetch({x, y, z});
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
        m_index->Leave({node.x, node.y, node.z});
    m_points.ShrinkTo(m_points.size() - 1);
}
