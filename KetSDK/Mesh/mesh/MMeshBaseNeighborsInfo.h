#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>

#include <memory>
#include <span>
#include <vector>

class MMeshBase;

// Which elements of a tetrahedral mesh lie across a face or around an edge. Built on demand from one
// list per node of the elements that use it as one of their first four nodes, so it is meant for four-
// and ten-node elements. Not updated when the mesh changes: whoever changes elements or nodes disables
// and enables it again. Queries assume that it is enabled, and are safe from several threads.
class KETSDK_MESH_API MMeshBaseNeighborsInfo {
public:
    using ElementList = std::span<MMeshElement*>;

    // Disabled. The mesh is not owned.
    explicit MMeshBaseNeighborsInfo(MMeshBase* parent) : m_parent(parent) {}
    MMeshBaseNeighborsInfo(MMeshBaseNeighborsInfo const&) = delete;
    // Keeps its own mesh, and is built for it when the other is enabled.
    MMeshBaseNeighborsInfo& operator=(MMeshBaseNeighborsInfo const& other);
    ~MMeshBaseNeighborsInfo();

    // Builds the lists; nothing when they are there already.
    void Enable();
    void Disable();
    bool IsEnabled() const noexcept { return m_enabled; }
    MMeshBase* GetParentMesh() const noexcept { return m_parent; }

    // The element across face f (a row of descr_triangle_point) of e; null on the boundary and for
    // f > 3. Where more than two elements meet at a face, the one with the lowest address.
    MMeshElement* GetNeighbor(MMeshElement* e, unsigned int f);

    // The local number (0..5) of the edge p-q in e. 0 also when there is no such edge.
    char GetEdgeIndex(MMeshElement* e, MMeshPoint* p, MMeshPoint* q);

    // Appends e and the elements around its edge in the order in which they meet: the whole ring
    // around an interior edge; on the boundary first those reached across the face
    // descr_tet4_edge_faces[edge][0], then those on the other side. Nothing for edge > 5.
    void GetEdgeNeighbors(MMeshElement* e, char edge, std::vector<MMeshElement*>& out);

    // The elements that use a node as one of their first four, by ascending address.
    std::span<MMeshElement* const> GetElements(MMeshPoint const& p) const noexcept { return m_incident->GetValue(p); }

protected:
    // The highest of three addresses, for derived classes that merge lists of elements.
    static MMeshElement const* Max3(MMeshElement const* a, MMeshElement const* b, MMeshElement const* c) noexcept;

private:
    // Walks round the edge p-q from e across face f, appending to out, until the boundary or an
    // element that the walk has met since `first`. True when the ring closed.
    bool _WalkAroundEdge(MMeshElement* e, unsigned int f, MMeshPoint* p, MMeshPoint* q,
                         std::vector<MMeshElement*>& out, std::size_t first);

    // One list after another, in one block; the mask says where the list of each node lies.
    std::unique_ptr<MMeshElement*[]> m_lists;
    std::unique_ptr<MDataMask<MMeshPoint, ElementList>> m_incident;
    MMeshBase* m_parent;
    bool m_enabled = false;
};
