#include <KetSDK/Mesh/mesh/MMeshPointContainer.h>

#include <KetSDK/Common/Shared/MHash.h>
#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/MMeshPointMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <tsl/robin_map.h>

#include <algorithm>
#include <array>
#include <span>
#include <stdexcept>
#include <vector>

namespace {

using Position = std::array<MLong, 3>;

struct PositionHash {
    std::size_t operator()(Position const& p) const noexcept {
        return static_cast<std::size_t>(KetSDK::Common::HashOfPosition(p[0], p[1], p[2]));
    }
};

} // namespace

struct MMeshPointContainer::CoordinateIndex {
    tsl::robin_map<Position, MMeshPoint*, PositionHash> nodes;
};

MMeshPointContainer::MMeshPointContainer() = default;
MMeshPointContainer::~MMeshPointContainer() = default;

MMeshPointContainer::MMeshPointContainer(MMeshPointContainer const& other) {
    for (MMeshPoint const& p : other.m_points)
        _Append(p.x, p.y, p.z);
}

MMeshPoint& MMeshPointContainer::AddPoint(MLong x, MLong y, MLong z) {
    if (!m_index)
        return _Append(x, y, z);
    Position const position{x, y, z};
    auto const known = m_index->nodes.find(position);
    if (known != m_index->nodes.end())
        return *known->second;
    MMeshPoint& node = _Append(x, y, z);
    m_index->nodes.emplace(position, &node);
    return node;
}

void MMeshPointContainer::CreateCoordinateIndex() {
    if (!m_index)
        m_index = std::make_unique<CoordinateIndex>();
}

void MMeshPointContainer::DropCoordinateIndex() noexcept {
    m_index.reset();
}

void MMeshPointContainer::UpdateCoordinateIndex() {
    if (!m_index)
        return;
    std::vector<MMeshPoint*> nodes;
    for (auto const& [position, node] : m_index->nodes)
        nodes.push_back(node);
    std::ranges::sort(nodes, {}, &MMeshPoint::GetIndex);
    m_index->nodes.clear();
    for (MMeshPoint* node : nodes)
        m_index->nodes.emplace(Position{node->x, node->y, node->z}, node);
}

void MMeshPointContainer::Clear() noexcept {
    m_index.reset();
    Storage().swap(m_points);
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
        _LoadUnderIndex(count, mesh, file);
    else
        _LoadAppending(count, mesh, file);
}

// Every node goes through the index. Read before anything is appended: a block that is cut off changes
// nothing.
void MMeshPointContainer::_LoadUnderIndex(std::uint32_t count, MMeshBase* mesh, MFile* file) {
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
void MMeshPointContainer::_LoadAppending(std::uint32_t count, MMeshBase* mesh, MFile* file) {
    std::size_t const size_before = m_points.size();
    std::array<MLong, 3 * NodesAtOnce> coordinates;
    for (std::size_t left = count; left > 0;) {
        std::size_t const part = std::min(left, NodesAtOnce);
        if (!file->ReadArray(std::span(coordinates.data(), 3 * part))) {
            m_points.erase(m_points.begin() + static_cast<std::ptrdiff_t>(size_before), m_points.end());
            throw std::runtime_error("invalid state");
        }
        for (std::size_t i = 0; i < part; ++i)
            _Append(coordinates[3 * i], coordinates[3 * i + 1], coordinates[3 * i + 2]);
        left -= part;
    }
    auto node = m_points.begin() + static_cast<std::ptrdiff_t>(size_before);
    mesh->GetPointMasks()->RegisterMaskObjects(count, [&node]() -> MMeshPoint& { return *node++; });
}

std::size_t MMeshPointContainer::MemoryUsed() const noexcept {
    std::size_t const blocks = (m_points.size() + BlockSize - 1) / BlockSize;
    std::size_t bytes = blocks * (BlockSize * sizeof(MMeshPoint) + sizeof(void*));
    if (m_index)
        bytes += m_index->nodes.bucket_count() * (sizeof(Position) + 2 * sizeof(void*));
    return bytes;
}

MMeshPoint& MMeshPointContainer::_Append(MLong x, MLong y, MLong z) {
    MMeshPoint& node = m_points.emplace_back(x, y, z);
    node.m_index = static_cast<MLong>(m_points.size() - 1);
    return node;
}
