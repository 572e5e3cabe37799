// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshOrigins.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Copies parts of one mesh into another: first sub-volumes and nodes, then elements, on several threads when
// parallel. What they are copies of is recorded in order when origins are not null.
class MeshCopy {
public:
    MeshCopy(MMeshBase const& source, MMeshBase& target, MMeshOrigins* origins, bool parallel = false);

    // Appends a sub-volume with name and material number of the one at an index in the source's list.
    void AddSubVolumeLike(std::size_t index);

    // Adds copies of nodes, with their values, which from now on stand for them.
    void AddNodes(std::span<MLong const> nodes);
    // Says that a node of the target, which is there already, stands for one of the source.
    void JoinNode(MLong node, MLong stand_in) {
        m_stand_ins[static_cast<std::size_t>(node)] = stand_in;
        if (m_origins)
            ++m_origins->joined_nodes;
    }
    // By node of the source, the node of the target that stands for it; -1 for those that were not entered.
    std::vector<MLong> const& StandIns() const noexcept { return m_stand_ins; }

    // Adds copies of elements, with their values, on the nodes that stand for theirs. They go to the copies
    // of their sub-volumes, and those in no sub-volume to none.
    void AddElements(std::span<MLong const> elements);

private:
    void AddSomeElements(std::span<MLong const> elements);
    void FillArrays(std::span<MLong const> elements);
    int SubVolumeFor(MMeshElement const& e) const;

    MMeshBase const& m_source;
    MMeshBase& m_target;
    MMeshOrigins* m_origins;
    bool m_parallel;
    std::vector<MLong> m_stand_ins;
    std::vector<int> m_index_of; // in the target's list, by index in the source's; -1 without a copy
    // Of some elements:
    std::vector<unsigned char> m_counts; // of nodes
    std::vector<MLong> m_nodes;
    std::vector<int> m_sub_volumes; // by index in the target's list
};

} // namespace KetSDK::Mesh::Detail
