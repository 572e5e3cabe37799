// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/geometry/PolyhedralFaceInterface.h>

#include <array>

// A face with three corners, in model units: one triangle, three segments.
// Objects share nothing: distinct ones may be used from several threads.
class KETSDK_MESH_API TriangularFace : public PolyhedralFaceInterface {
public:
    static constexpr unsigned int m_nb_nodes = 3;

    // All nodes at the origin.
    TriangularFace() = default;
    TriangularFace(MMVector<double, 3> const& a, MMVector<double, 3> const& b, MMVector<double, 3> const& c);
    TriangularFace(TriangularFace const&) = default;
    TriangularFace(TriangularFace&&) = default;
    TriangularFace& operator=(TriangularFace const&) = default;
    TriangularFace& operator=(TriangularFace&&) = default;
    ~TriangularFace() override;

    std::uint64_t GetNbTriangles() const override; // 1
    // The face itself, whatever i is, newly allocated; the caller deletes it.
    MTriangle<double, 3>* GetTriangle(std::uint64_t i) const override;
    std::uint64_t GetNbNodes() const override; // 3
    MMVector<double, 3> const& GetNode(std::uint64_t i) const override;
    void SetNode(std::uint64_t i, MMVector<double, 3> const& position) override;
    std::uint64_t GetNbSegments() const override; // 3
    // Node i and node (i + 1) mod 3.
    std::pair<MMVector<double, 3> const*, MMVector<double, 3> const*>
    GetSegment(std::uint64_t i) const override;

private:
    std::array<MMVector<double, 3>, m_nb_nodes> m_nodes{};
};
