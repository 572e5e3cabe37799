// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Mesh/MMeshExport.h>

#include <set>
#include <vector>

class MMeshBase;
class MMeshSubVolume;
struct MMeshOrigins;

// Makes a new mesh of what is left of another one without some of its sub-volumes. Elements and nodes
// keep their order; nodes that nothing uses are gone. Sub-volumes that stay keep name and material number
// and are numbered anew; empty ones stay, and elements in no sub-volume as well. Material catalog, flags,
// type and state come along, and so do the built-in values of nodes and elements; user masks, neighbour
// information and the correspondence mapper stay behind.
//
// Neither changes nor owns the mesh. One thread at a time uses operator and mesh.
class KETSDK_MESH_API MMeshOperatorRemoveSubVolume {
public:
    MMeshOperatorRemoveSubVolume() = default;

    // The mesh to make another one of; borrowed until Operate() has returned.
    void SetMesh(MMeshBase* mesh) noexcept { m_mesh = mesh; }
    // A sub-volume of that mesh that goes; called once for each.
    void AddSubVolumeToRemove(MMeshSubVolume* sub_volume) { m_removed.insert(sub_volume); }
    // Where to record what elements and nodes of the new mesh came from; null, as at first, records nothing.
    // Borrowed.
    void SetOrigins(MMeshOrigins* origins) noexcept { m_origins = origins; }

    // Makes the mesh. False, and there is none, without a mesh and when one of the sub-volumes is null or not
    // in its list. Whoever asks for that means something else than he gets. With every sub-volume removed the
    // new mesh has an empty main one.
    bool Operate();

    // The mesh that the last run made; null when it made none. It belongs to the caller, who deletes it.
    MMeshBase* GetNewMesh() const noexcept { return m_new_mesh; }
    // For each element and node of the new mesh, in its order, the number that it had.
    std::vector<MLong> const& GetKeptElements() const noexcept { return m_kept_elements; }
    std::vector<MLong> const& GetKeptNodes() const noexcept { return m_kept_nodes; }

private:
    MMeshBase* m_mesh = nullptr;
    MMeshBase* m_new_mesh = nullptr;
    MMeshOrigins* m_origins = nullptr;
    std::set<MMeshSubVolume const*> m_removed;
    std::vector<MLong> m_kept_elements;
    std::vector<MLong> m_kept_nodes;
};
