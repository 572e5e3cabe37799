// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/geometry/PolyhedralFaceInterface.h>

#include <array>

// A face with four corners, in model units: two triangles split along the diagonal from node 1 to
// node 3, four segments. Objects share nothing: distinct ones may be used from several threads.
class KETSDK_MESH_API QuadrangularFace : public PolyhedralFaceInterface {
public:
    static constexpr unsigned int m_nb_nodes = 4;

    // All nodes at the origin.
    QuadrangularFace() = default;
    QuadrangularFace(MMVector<double, 3> const& a, MMVector<double, 3> const& b, MMVector<double, 3> const& c,
                     MMVector<double, 3> const& d);
    QuadrangularFace(QuadrangularFace const&) = default;
    QuadrangularFace(QuadrangularFace&&) = default;
    QuadrangularFace& operator=(QuadrangularFace const&) = default;
    QuadrangularFace& operator=(QuadrangularFace&&) = default;
    ~QuadrangularFace() override;

    std::uint64_t GetNbTriangles() const override; // 2
    // Nodes 0, 1, 3 for i = 0 and nodes 1, 2, 3 for every other i, newly allocated; the caller deletes it.
    MTriangle<double, 3>* GetTriangle(std::uint64_t i) const override;
    std::uint64_t GetNbNodes() const override; // 4
    MMVector<double, 3> const& GetNode(std::uint64_t i) const override;
    void SetNode(std::uint64_t i, MMVector<double, 3> const& position) override;
    std::uint64_t GetNbSegments() const override; // 4
    // Node i and node (i + 1) mod 4.
    std::pair<MMVector<double, 3> const*, MMVector<double, 3> const*>
    GetSegment(std::uint64_t i) const override;
    // Replaces all four nodes.
    virtual void SetNodes(MMVector<double, 3> const& a, MMVector<double, 3> const& b,
                          MMVector<double, 3> const& c, MMVector<double, 3> const& d);

private:
    std::array<MMVector<double, 3>, m_nb_nodes> m_nodes{};
};
