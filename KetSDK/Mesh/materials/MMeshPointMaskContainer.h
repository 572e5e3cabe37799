// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/MDataMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

class MFile;
class MMeshBase;
class MMeshTriangleIterator;

namespace KetSDK::Mesh::Detail {
template <typename C>
struct BuiltInMasks;
template <typename C, typename M, typename V>
struct BuiltInMask;
} // namespace KetSDK::Mesh::Detail

// The masks of a mesh's nodes: the built-in original identifiers and the neighbour mask, which belong
// to the container, and user masks, which belong to their makers. Created by the mesh.
class KETSDK_MESH_API MMeshPointMaskContainer : public MDataMaskContainer<MMeshPoint> {
public:
    ~MMeshPointMaskContainer() override;

    // Identifier that the node had where it came from; -1 by default. The const form returns null
    // while the mask does not exist.
    MDataMask<MMeshPoint, int>* GetOriginalIDs();
    MDataMask<MMeshPoint, int> const* GetOriginalIDs() const { return m_original_ids.get(); }
    bool HasOriginalIDs() const noexcept { return m_original_ids != nullptr; }
    void ReleaseOriginalIDs() noexcept { m_original_ids.reset(); }

    // The neighbour mask holds, for every node, iterators at the triangles that use it: faces of the
    // elements' tetrahedra, in the order of the mesh. With `surface_only` only faces that the elements'
    // surface mask lists count. Rebuilds the mask; false (and no mask) for a mesh without elements,
    // and with `surface_only` for one without a surface mask. The mask does not follow later changes. On
    // several threads with `parallel`.
    bool RecalculateNeighbourMask(bool surface_only, bool parallel = false);
    bool HasNeighbourMask() const noexcept { return m_neighbours != nullptr; }
    void ReleaseNeighbourMask() noexcept;
    // Gives the iterators of a node as an array that the container owns, and its length; null and 0
    // where there are none.
    void GetNeighbourMaskPointInfo(MMeshPoint const& point, MMeshTriangleIterator**& triangles,
                                   unsigned long long& count);
    void GetNeighbourMaskPointInfo(MMeshPoint const& point, MMeshTriangleIterator**& triangles,
                                   unsigned long long& count) const;

    // Deletes the built-in masks, lets go of user masks and takes back every index; out of memory, nothing.
    void Clear();

    // Writes the original identifiers in the order of the mesh's nodes.
    void SaveMeshPointMaskToFile(MFile* file) const;
    // Reads them back for as many nodes as the mesh has; a block that is cut off or belongs to another
    // number of nodes throws "invalid state" and changes nothing.
    void LoadMeshPointMaskFromFile(MFile* file);

private:
    friend class MMeshBase;
    template <typename C>
    friend struct KetSDK::Mesh::Detail::BuiltInMasks;
    template <typename C, typename M, typename V>
    friend struct KetSDK::Mesh::Detail::BuiltInMask;
    explicit MMeshPointMaskContainer(MMeshBase* mesh);

    std::vector<MDataMaskBase<MMeshPoint>*> const& GetMasks() const noexcept { return Masks(); }
    // Copies the built-in values of another mesh, node by node.
    void CopyBuiltInMasksOf(MMeshPointMaskContainer const& other, MMeshBase const& source);

    using TriangleList = std::span<MMeshTriangleIterator*>;
    struct NeighbourMask;

    MMeshBase* m_mesh;
    std::unique_ptr<MDataMask<MMeshPoint, int>> m_original_ids;
    std::unique_ptr<NeighbourMask> m_neighbours;
};
