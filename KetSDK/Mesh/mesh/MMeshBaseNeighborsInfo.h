// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>
#include <KetSDK/Support/MArenaAllocator.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class MMeshBase;

// Which elements of a tetrahedral mesh lie across a face or around an edge. Built on demand as one list per
// node of the elements that use it as one of their first four nodes, so it is meant for four- and ten-node
// elements. Faces and edges are found by intersecting those lists. Not updated when the mesh changes: whoever
// changes elements or nodes disables and enables it again. Queries assume that it is enabled, and are safe
// from several threads.
class KETSDK_MESH_API MMeshBaseNeighborsInfo {
public:
    // Disabled. The mesh is not owned.
    MMeshBaseNeighborsInfo(MMeshBase* parent)
        : m_parent(parent) {}
    MMeshBaseNeighborsInfo(MMeshBaseNeighborsInfo const&) = delete;
    // Keeps its own mesh, and is built for it when the other is enabled.
    MMeshBaseNeighborsInfo& operator=(MMeshBaseNeighborsInfo const& other);
    ~MMeshBaseNeighborsInfo();

    // Builds the lists, on several threads when parallel; nothing when they are there already.
    void Enable(bool parallel = false);
    void Disable();
    bool IsEnabled() const noexcept { return m_incident != nullptr; }
    // Bytes held by the lists, without the node mask that says where they lie.
    std::size_t MemoryUsed() const noexcept { return m_blocks.capacity() * sizeof(Block); }
    MMeshBase* GetParentMesh() const noexcept { return m_parent; }

    // The element across face f (a row of descr_triangle_point) of e; null on the boundary and for
    // f > 3 and for an element of fewer than four nodes. Where more than two elements meet at a face, the one
    // with the lowest address.
    MMeshElement* GetNeighbor(MMeshElement* e, unsigned int f);

    // The local number (0..5) of the edge p-q in e. 0 also when there is no such edge.
    char GetEdgeIndex(MMeshElement* e, MMeshPoint* p, MMeshPoint* q);

    // Appends e and the elements around its edge in the order in which they meet. That is the whole ring
    // around an interior edge; on the boundary first those reached across the face
    // descr_tet4_edge_faces[edge][0], then those on the other side. Nothing for edge > 5 and for an element
    // of fewer than four nodes.
    void GetEdgeNeighbors(MMeshElement* e, char edge, std::vector<MMeshElement*>& out);

protected:
    // The highest of three addresses, for derived classes that merge lists of elements.
    static MMeshElement const* Max3(MMeshElement const* a, MMeshElement const* b,
                                    MMeshElement const* c) noexcept;

private:
    // The elements of one node, by ascending index, in whole blocks of four.
    struct ElementList {
        std::uint32_t first_block = 0;
        std::uint32_t size = 0;
        std::uint32_t Blocks() const noexcept { return (size + 3) / 4; }
    };
    // Four elements of a list: their numbers, and for each a signature of its three other corners, a few bits
    // set of 32. By these most elements that do not use a node are told apart, four at a time and without a
    // look at the element. Unused entries have no bit set.
    struct alignas(16) Block {
        std::uint32_t element[4];
        std::uint32_t signature[4];
    };

    // The nodes of a face of an element and the elements of each, the shortest list first.
    struct FaceLists {
        MMeshPoint const* node[3];
        ElementList list[3];
    };
    FaceLists ListsAround(MMeshElement const& e, unsigned int f) const;
    // Calls visit(number) for the elements of the first list that seem to use the other nodes as well: all
    // that do, and few others.
    template <typename Visit>
    void ForEachCandidate(FaceLists const& face, Visit&& visit) const;
    bool Contains(ElementList const& list, std::uint32_t element) const noexcept;

    class Sorting;
    // Walks round the edge p-q from e across face f, appending to out, until the boundary or an
    // element that the walk has met since `first`. True when the ring closed.
    bool WalkAroundEdge(MMeshElement* e, unsigned int f, MMeshPoint* p, MMeshPoint* q,
                        std::vector<MMeshElement*>& out, std::size_t first);

    // One list after another; the mask says where the list of each node lies.
    std::vector<Block, KetSDK::Support::MUninitializedAllocator<Block>> m_blocks;
    std::unique_ptr<MDataMask<MMeshPoint, ElementList>> m_incident;
    MMeshBase* m_parent;
};
