// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Math/MathCore/MTriangle.h>
#include <KetSDK/Mesh/MMeshExport.h>

#include <cstdint>
#include <utility>

// A flat face of a polyhedron: nodes in model units, and the triangles and segments they span.
// No number is range-checked. Objects share nothing: distinct ones may be used from several threads.
class KETSDK_MESH_API PolyhedralFaceInterface {
public:
    virtual ~PolyhedralFaceInterface();

    // Number of triangles that the face is cut into.
    virtual std::uint64_t GetNbTriangles() const = 0;
    // Triangle i, newly allocated; the caller deletes it.
    virtual MTriangle<double, 3>* GetTriangle(std::uint64_t i) const = 0;
    virtual std::uint64_t GetNbNodes() const = 0;
    virtual MMVector<double, 3> const& GetNode(std::uint64_t i) const = 0;
    virtual void SetNode(std::uint64_t i, MMVector<double, 3> const& position) = 0;
    virtual std::uint64_t GetNbSegments() const = 0;
    // The two ends of boundary segment i, which point into this face.
    virtual std::pair<MMVector<double, 3> const*, MMVector<double, 3> const*>
    GetSegment(std::uint64_t i) const = 0;

protected:
    PolyhedralFaceInterface() = default;
    PolyhedralFaceInterface(PolyhedralFaceInterface const&) = default;
    PolyhedralFaceInterface& operator=(PolyhedralFaceInterface const&) = default;

    // Moves every node to the origin.
    virtual void _InitZero();
};
