// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MDataMaskIndex.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshElementDescriptor.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>

#include <utility>
#include <vector>

// A mesh element: an array of node pointers whose length is the element's kind. The element owns the
// array, unless its container does, and never the nodes, which live in the node container of the mesh and
// must outlive it. At most 255 nodes; move-only. Safe to read from several threads while none changes it.
class KETSDK_MESH_API MMeshElement : public MDataMaskIndex {
public:
    // No nodes.
    MMeshElement() = default;
    // Copies the first n entries of `nodes`.
    MMeshElement(unsigned char n, MMeshPoint** nodes);
    // Copies all entries of `nodes`.
    MMeshElement(std::vector<MMeshPoint*> const& nodes);

    MMeshElement(MMeshElement const&) = delete;
    MMeshElement& operator=(MMeshElement const&) = delete;
    // Takes over array and count and leaves the source without nodes. The mask index comes along. An array
    // that the source's container owns stays the container's, and goes with it.
    MMeshElement(MMeshElement&& other) noexcept;
    MMeshElement& operator=(MMeshElement&& other) noexcept;
    ~MMeshElement() {
        if (!m_lent)
            delete[] m_nodes;
    }

    // Drops the nodes; the element stays usable.
    void Free() noexcept;
    // Replaces the nodes by copies of the given pointers.
    void Set(unsigned char n, MMeshPoint** nodes);
    void Set(std::vector<MMeshPoint*> const& nodes);
    // Exchanges nodes i and k, not range-checked.
    void SwapNodes(unsigned int i, unsigned int k) noexcept { std::swap(m_nodes[i], m_nodes[k]); }

    // The node array of GetNodeCount() pointers.
    MMeshPoint* const* GetNodes() const noexcept { return m_nodes; }
    // Node i, not range-checked.
    MMeshPoint* GetNode(unsigned int i) const noexcept { return m_nodes[i]; }
    // Number of nodes, which is the element's kind.
    unsigned char GetNodeCount() const noexcept { return m_count; }
    // Tet4, Tet10, Hex8, or Other for every other node count.
    MMeshElementDescriptor::ElementType GetType() const noexcept;

private:
    friend class MMeshElementContainer;

    // Stands on an array that its container holds; for a new element.
    void Borrow(unsigned char n, MMeshPoint** nodes) noexcept {
        m_nodes = nodes;
        m_count = n;
        m_lent = true;
    }
    // Stands on an array of its own from now on.
    void Own(unsigned char n, MMeshPoint** nodes) noexcept;
    void TakeFrom(MMeshElement& other) noexcept;

    MMeshPoint** m_nodes = nullptr;
    unsigned char m_count = 0;
    bool m_lent = false; // whether the array is that of the container
};
