// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshOperatorRemoveSubVolume.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/detail/MeshCopy.h>
#include <KetSDK/Mesh/operators/detail/SubVolumeSelection.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <vector>

using namespace KetSDK::Mesh::Detail;

namespace {

// The sub-volumes that stay, and null, for elements in none.
using Kept = std::set<MMeshSubVolume const*>;

// The nodes of elements that stay, by index.
std::vector<bool> UsedNodes(MMeshBase const& mesh, Kept const& kept) {
    std::vector<bool> used(static_cast<std::size_t>(mesh.NumberOfPoints()), false);
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
        if (kept.contains(mesh.GetSubVolume(e)))
            for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
                used[static_cast<std::size_t>(e.GetNode(i)->GetIndex())] = true;
    });
    return used;
}

} // namespace

bool MMeshOperatorRemoveSubVolume::Operate() {
    m_new_mesh = nullptr;
    m_kept_elements.clear();
    m_kept_nodes.clear();
    if (!m_mesh || !AreAllOf(*m_mesh, m_removed))
        return false;
    MMeshBase const& mesh = *m_mesh;
    auto rest = std::make_unique<MMeshBase>();
    rest->CopyMetadata(mesh);
    rest->ClearSubVolumes();
    MeshCopy copy(mesh, *rest, m_origins);

    Kept kept{nullptr};
    for (std::size_t i = 0; i < mesh.NumberOfSubVolumes(); ++i) {
        MMeshSubVolume const* const sub_volume = mesh.BeginSubVolume()[static_cast<std::ptrdiff_t>(i)].get();
        if (!m_removed.contains(sub_volume)) {
            kept.insert(sub_volume);
            copy.AddSubVolumeLike(i);
        }
    }
    if (rest->NumberOfSubVolumes() == 0)
        rest->AddSubVolume();

    std::vector<bool> const used = UsedNodes(mesh, kept);
    for (MLong i = 0; i < mesh.NumberOfPoints(); ++i)
        if (used[static_cast<std::size_t>(i)])
            m_kept_nodes.push_back(i);
    copy.AddNodes(m_kept_nodes);
    for (MLong i = 0; i < mesh.NumberOfElements(); ++i)
        if (kept.contains(mesh.GetSubVolume(*mesh.GetElement(static_cast<std::uint64_t>(i)))))
            m_kept_elements.push_back(i);
    copy.AddElements(m_kept_elements);
    m_new_mesh = rest.release();
    return true;
}
