// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <cstdint>
#include <set>

class MMeshSubVolume;

// Splits sub-volumes into their connected components: elements of a sub-volume with a face in common are
// in one component. Takes every kind of element, also mixed.
//
// The component with the most elements stays what it was, with name, number and material number. Each other
// one becomes a new sub-volume at the end of the list, of the same material number. Its name is the old one
// followed by a blank and 2, 3, ... by descending number of elements; of equal ones that with the first
// element comes first. A face that collapses to fewer than three corners connects nothing. Elements in no
// sub-volume stay in none.
//
// Needs no neighbour information. Reads no settings, reports no progress. One thread at a time uses
// operator and mesh.
class KETSDK_MESH_API MMeshSplitVolumesOperator : public MMeshOperator {
public:
    MMeshSplitVolumesOperator() = default;
    MMeshSplitVolumesOperator(MMeshSplitVolumesOperator const&) = default;
    MMeshSplitVolumesOperator& operator=(MMeshSplitVolumesOperator const&) = default;
    ~MMeshSplitVolumesOperator() override;

    // Which sub-volumes are split; all, as without this call, when the set is empty.
    void SetSubVolumes(std::set<MMeshSubVolume const*> const& sub_volumes) { m_sub_volumes = sub_volumes; }
    std::set<MMeshSubVolume const*> const& GetSubVolumes() const noexcept { return m_sub_volumes; }

    // Splits. False, with nothing changed, without a mesh and when one of the sub-volumes is null or not in
    // the mesh's list.
    bool Operate() override;

    // How many sub-volumes the last run added.
    std::uint64_t GetNbNewSubVolumes() const noexcept { return m_nb_new; }

private:
    std::set<MMeshSubVolume const*> m_sub_volumes;
    std::uint64_t m_nb_new = 0;
};
