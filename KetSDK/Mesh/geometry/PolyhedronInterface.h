// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Math/MathCore/boundingbox.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>

#include <cstdint>
#include <type_traits>

class PolyhedralFaceInterface;

// The geometric view of one element: vertices with coordinates of type T (MLong, float, double; MLong
// is also int), faces and a volume from the derived class, and here all that follows from the vertices
// alone. Whatever is computed is computed in double.
// A short-lived value that shares nothing: distinct objects may be used from several threads, with the
// exception of SetRandomVertices, which draws from the C library's one generator.
template <typename T>
class KETSDK_MESH_API PolyhedronInterface {
public:
    using Box = KetSDK::Math::boundingbox<double, 3, MMVector<double, 3>>;

    // An empty box.
    PolyhedronInterface() = default;
    PolyhedronInterface(PolyhedronInterface const&) = default;
    PolyhedronInterface& operator=(PolyhedronInterface const&) = default;
    virtual ~PolyhedronInterface() = default;

    virtual MMVector<T, 3> const& GetVertex(unsigned int i) const = 0;
    virtual void SetVertex(unsigned int i, MMVector<T, 3> const& position) = 0;
    // Face i, newly allocated; the caller deletes it. Null for a shape without faces.
    virtual PolyhedralFaceInterface* GetFace(unsigned int i) const = 0;
    // The signed volume in cubed units of the vertices.
    virtual double Volume() const = 0;
    // False for an inverted shape.
    virtual bool OrientationOK() const = 0;
    virtual std::uint64_t GetNbVertices() const = 0;
    virtual std::uint64_t GetNbFaces() const = 0;

    // The mean of all vertices.
    virtual MMVector<double, 3> GetCentroid();

    // The box of the vertices as they are now, a member of this object. Vertex 0 counts only as far as
    // another vertex lies beyond it: see _UpdateBoundingBox.
    virtual Box const& GetBoundingBox();

    // Every coordinate becomes rand() / 32767.
    virtual void SetRandomVertices();

    // Moves every vertex v to v (1 - f) + c f, c being the centroid: 0 changes nothing, 1 collapses the
    // shape onto its centroid. Integer coordinates are cut off, as in a conversion.
    virtual void ShrinkTowardsCentroid(double f);

    // True when every vertex lies strictly on the side that the normal points to of the plane through
    // `point`. A shape without vertices is on both sides.
    virtual bool LargerThanPlane(MMVector<double, 3> const& normal, MMVector<double, 3> point) const;
    // True when every vertex lies strictly on the other side.
    virtual bool SmallerThanPlane(MMVector<double, 3> const& normal, MMVector<double, 3> point) const;

protected:
    // Recomputes the box from vertices 1 and up; vertex 0 is left out on purpose (kept: the extents
    // that callers have recorded depend on it). With at most one vertex the box is empty.
    virtual void _UpdateBoundingBox();
    // Takes over as many vertices as both have.
    virtual void _CopyVertices(PolyhedronInterface<T> const& other);
    // Takes over as many nodes as there are vertices, in model units.
    virtual void _CopyVerticesMMeshElement(MMeshElement& element);
    // Writes vertices 0 .. n - 1 as rows (x, y, z).
    virtual void _ConvertToVerdictPoints(double (*rows)[3], int n) const;
    // Moves every vertex to the origin.
    virtual void _SetZeroVertices();

    // A node's position in model units, as a vertex.
    static MMVector<T, 3> NodePosition(MMeshPoint const& node) noexcept {
        return MMVector<T, 3>(node.GetPosition());
    }

private:
    Box m_bounding_box;
};

extern template class PolyhedronInterface<MLong>;
extern template class PolyhedronInterface<float>;
extern template class PolyhedronInterface<double>;
static_assert(std::is_same_v<MLong, int>, "PolyhedronInterface<int> is PolyhedronInterface<MLong>");
