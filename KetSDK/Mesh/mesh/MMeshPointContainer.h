// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>
#include <KetSDK/Support/MBlockStorage.h>
#include <KetSDK/Support/MPositionTable.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

class MFile;
class MMeshBase;
namespace KetSDK::Mesh::Detail {
class MeshTagsReader;
class PointRoom;
} // namespace KetSDK::Mesh::Detail

// The nodes of a mesh, addressed by their index. Appending never moves a node. While the coordinate
// index exists, a node at a position that was added under it is returned instead of added again.
// Masks and bounding box are kept by the mesh. Not synchronised: concurrent reads are safe.
class KETSDK_MESH_API MMeshPointContainer {
public:
    MMeshPointContainer();
    // Copies the positions; the copies get indices from 0, no mask index and no coordinate index.
    MMeshPointContainer(MMeshPointContainer const& other);
    MMeshPointContainer& operator=(MMeshPointContainer const&) = delete;
    ~MMeshPointContainer();

    // Appends a node at a position in internal units, or returns the one that the coordinate index
    // knows there. Out of memory, or of indices (std::runtime_error("invalid state")), nothing changes.
    MMeshPoint& AddPoint(MLong x, MLong y, MLong z);
    MMeshPoint& AddPoint(MLong const* xyz) { return AddPoint(xyz[0], xyz[1], xyz[2]); }

    // Starts an empty coordinate index: nodes that are there already are not entered.
    void CreateCoordinateIndex();
    // Makes room in the coordinate index for so many nodes in all: growing to them would take longer, and up
    // to three times the memory. Nothing without an index.
    void ReserveCoordinateIndex(std::uint64_t count);
    void DropCoordinateIndex() noexcept;
    // To be called after nodes were moved, which are not found until then. Enters the nodes that the
    // coordinate index knows at their present positions, the first of those that have come together. Nothing
    // without an index. Out of memory, the index is dropped.
    void UpdateCoordinateIndex();
    bool HasCoordinateIndex() const noexcept { return m_index != nullptr; }
    // The numbers of the nodes that the coordinate index knows; none without an index.
    std::vector<std::uint32_t> GetIndexedNodes() const;
    // Starts a coordinate index that knows these nodes, in place of one that is there.
    void CreateCoordinateIndex(std::vector<std::uint32_t> const& nodes);
    // Fetches what AddPoint will look up for a position, for loops that know it some time before.
    void PrefetchPoint(MLong x, MLong y, MLong z) const noexcept;
    // Fetches what it will read next, some time after the first.
    void PrefetchFoundPoint(MLong x, MLong y, MLong z) const noexcept;

    std::uint64_t GetNumPoints() const noexcept { return m_points.size(); }
    // Node i, not range-checked.
    MMeshPoint* GetPointPtrAt(std::uint64_t i) noexcept { return &m_points[static_cast<std::size_t>(i)]; }
    MMeshPoint const* GetPointPtrAt(std::uint64_t i) const noexcept {
        return &m_points[static_cast<std::size_t>(i)];
    }
    // The nodes where they lie in memory, for loops that take very many by their numbers: node i is
    // blocks[i / NodesPerBlock][i % NodesPerBlock]. True until the next one is added.
    static constexpr std::size_t NodesPerBlock = 4096;
    MMeshPoint* const* GetBlocks() noexcept { return m_points.Blocks(); }
    // Takes the last nodes away, all but so many; the coordinate index must not know them.
    void ShrinkTo(std::uint64_t count) noexcept;
    // Removes all nodes; the coordinate index goes too.
    void Clear() noexcept;

    // Writes the node block: count, then three coordinates a node, as little-endian 32-bit integers.
    void SavePointsToFile(MFile* file) const;
    // Appends the nodes of a node block and registers each with the node masks of `mesh`. A block that
    // is cut off throws "invalid state"; then, and out of memory, container and masks are as they were. Only
    // under a coordinate index, running out of memory leaves the nodes that were there so far.
    void LoadPointsFromFile(MMeshBase* mesh, MFile* file);

    // Bytes held.
    std::size_t MemoryUsed() const noexcept;

private:
    friend class MMeshBase;
    friend class KetSDK::Mesh::Detail::PointRoom;
    friend class KetSDK::Mesh::Detail::MeshTagsReader; // makes nodes while it reads the next ones

    MMeshPoint& Append(MLong x, MLong y, MLong z);
    // Where the coordinate index has the node at a position, or would have it.
    KetSDK::Support::MPositionTable::Slot SlotOf(MLong x, MLong y, MLong z) const noexcept;
    // Removes the node that AddPoint has just appended.
    void RemoveLast() noexcept;
    // Claims room for so many nodes and returns the number of the first. They are there when they have been
    // made, on any threads, and settled; or else they are given up. Throws as AddPoint does.
    std::uint64_t ClaimPoints(std::uint64_t count);
    MMeshPoint& MakePoint(std::uint64_t i, std::array<MLong, 3> const& position) noexcept {
        return MakePoint(&m_points[static_cast<std::size_t>(i)], i, position);
    }
    // The same where its place is known.
    static MMeshPoint& MakePoint(MMeshPoint* place, std::uint64_t i,
                                 std::array<MLong, 3> const& position) noexcept {
        auto* const node =
            ::new (static_cast<void*>(place)) MMeshPoint(position[0], position[1], position[2]);
        node->m_index = static_cast<MLong>(i);
        return *node;
    }
    // So many nodes will probably follow.
    void Expect(std::size_t count) { m_points.Expect(count); }
    void Settle(bool made) noexcept { m_points.Settle(made); }
    void LoadUnderIndex(std::uint32_t count, MMeshBase* mesh, MFile* file);
    void LoadAppending(std::uint32_t count, MMeshBase* mesh, MFile* file);

    KetSDK::Support::MBlockStorage<MMeshPoint, NodesPerBlock> m_points;
    std::unique_ptr<KetSDK::Support::MPositionTable> m_index;
};
