// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/geometry/PolyhedronInterface.h>

#include <vector>

// An element of any kind as a set of points in model units: for the box and for the sides of planes that
// PolyhedronInterface offers. It has no faces and no volume.
// Objects share nothing: distinct ones may be used from several threads.
class KETSDK_MESH_API LimitedPolyhedron : public PolyhedronInterface<double> {
public:
    // No vertices.
    LimitedPolyhedron() = default;
    // All nodes of the element, in its order.
    explicit LimitedPolyhedron(MMeshElement* element);
    LimitedPolyhedron(LimitedPolyhedron& other) = default;
    LimitedPolyhedron& operator=(LimitedPolyhedron const&) = default;
    ~LimitedPolyhedron() override;

    std::uint64_t GetNbVertices() const override;
    // Throws std::out_of_range for a vertex that there is not.
    MMVector<double, 3> const& GetVertex(unsigned int i) const override;
    // A vertex that there is not is left out without an error (kept: callers write as many as they have).
    void SetVertex(unsigned int i, MMVector<double, 3> const& position) override;

protected:
    std::uint64_t GetNbFaces() const override;                     // 0
    PolyhedralFaceInterface* GetFace(unsigned int) const override; // null
    double Volume() const override;                                // 0
    bool OrientationOK() const override;                           // true

private:
    std::vector<MMVector<double, 3>> m_vertices;
};
