// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshOperatorRemoveSubVolume.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/detail/MeshCopy.h>
#include <KetSDK/Mesh/operators/detail/SubVolumeSelection.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

using namespace KetSDK::Mesh::Detail;

namespace {

// What becomes of each sub-volume that stays; null, for elements in none, stays null.
using Kept = std::map<MMeshSubVolume const*, MMeshSubVolume*>;

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

    Kept kept{{nullptr, nullptr}};
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        if (!m_removed.contains(it->get()))
            kept[it->get()] = copy.AddSubVolumeLike(**it);
    if (rest->NumberOfSubVolumes() == 0)
        rest->AddSubVolume();

    std::vector<bool> const used = UsedNodes(mesh, kept);
    for (MLong i = 0; i < mesh.NumberOfPoints(); ++i)
        if (used[static_cast<std::size_t>(i)]) {
            copy.AddNode(*mesh.GetRandomPoint(static_cast<std::uint64_t>(i)));
            m_kept_nodes.push_back(i);
        }
    for (MLong i = 0; i < mesh.NumberOfElements(); ++i) {
        MMeshElement const& e = *mesh.GetElement(static_cast<std::uint64_t>(i));
        if (auto const found = kept.find(mesh.GetSubVolume(e)); found != kept.end()) {
            copy.AddElement(e, i, found->second);
            m_kept_elements.push_back(i);
        }
    }
    copy.CopyValues();
    m_new_mesh = rest.release();
    return true;
}
