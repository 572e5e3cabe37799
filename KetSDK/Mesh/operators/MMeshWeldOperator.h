// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <cstdint>
#include <optional>

class MMeshBase;
struct MMeshOrigins;

// Makes a mesh in which nodes at one position are one node, so that elements on both sides of them are
// connected. That mends two meshes that lie side by side, and a mesh that was written in pieces. The mesh of
// the operator stays as it is.
//
// Nodes that lie within the tolerance of each other, directly or by way of others, become the first of them,
// at its position. The other nodes, the elements and the sub-volumes keep their order. Sub-volumes, materials
// and all built-in values come along; user masks stay behind. Reads no settings, reports no progress. One
// thread at a time uses operator and meshes.
class KETSDK_MESH_API MMeshWeldOperator : public MMeshOperator {
public:
    MMeshWeldOperator() = default;
    MMeshWeldOperator(MMeshWeldOperator const&) = default;
    MMeshWeldOperator& operator=(MMeshWeldOperator const&) = default;
    ~MMeshWeldOperator() override;

    // The mesh to fill, an empty one. Borrowed.
    void SetTarget(MMeshBase* target) noexcept { m_target = target; }
    // How far apart nodes may lie that become one, in model units; 0, at first, and less join equal positions
    // only.
    void SetTolerance(double tolerance) noexcept { m_tolerance = tolerance; }
    // Where to record what the mesh came from; null, as at first, records nothing. Borrowed.
    void SetOrigins(MMeshOrigins* origins) noexcept { m_origins = origins; }

    // Welds. False, with the target as it was, without a mesh or a target, when that is not empty, and when
    // two nodes of one element would become one.
    bool Operate() override;

    // The first element of which two nodes would have become one in the last run.
    std::optional<std::uint64_t> GetCollapsing() const noexcept { return m_collapsing; }

private:
    MMeshBase* m_target = nullptr;
    MMeshOrigins* m_origins = nullptr;
    double m_tolerance = 0.0;
    std::optional<std::uint64_t> m_collapsing;
};
