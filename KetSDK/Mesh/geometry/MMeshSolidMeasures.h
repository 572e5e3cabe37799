// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/MMeshExport.h>

#include <array>
#include <span>

class MMeshElement;

namespace KetSDK::Mesh {

// Quality measures of one hexahedron or wedge, by the definitions of Stimpson et al. 2007, Sandia report
// SAND2007-1751. Made from an element of six or eight nodes, asked, and dropped. Lengths are in model units,
// angles in degrees.
//
// Most look at the Jacobian matrices at the corners, whose columns are the three edges there. Of hexahedra
// they look at the one at the centre, too. Its columns are the principal axes: the sums of the four edges of
// one direction. Where a determinant is not positive, a measure that divides by it is infinite and Shape is
// 0.
class KETSDK_MESH_API MMeshSolidMeasures {
public:
    explicit MMeshSolidMeasures(MMeshElement const& element);

    // Of both kinds.
    double GetMinEdgeLength() const;
    double GetMaxEdgeLength() const;
    double GetEdgeMaxMin() const; // longest edge / shortest edge
    double GetEdgeMinMax() const;
    double GetMinFaceAngle() const; // of the corner angles of the faces
    double GetMaxFaceAngle() const;
    double GetJacobian() const;       // smallest determinant; at the centre a 64th of it
    double GetScaledJacobian() const; // of unit columns; for wedges 2/sqrt(3) of it
    // The largest condition number, by the Frobenius norm, over that of the ideal corner.
    double GetCondition() const;
    double GetMeanAspectFrobenius() const; // the mean of the same at the corners
    double GetShape() const; // smallest 3 det^(2/3) / sum of squared columns; 1 for the ideal corner

    // Of hexahedra; NaN for wedges.
    double GetMaxEdgeRatio() const; // longest principal axis / shortest
    double GetSkew() const;         // largest cosine between two principal axes; 1 where one has no length
    double GetTaper() const;        // largest cross derivative / shorter one of its principal axes
    double GetStretch() const;      // sqrt(3) shortest edge / longest diagonal
    double GetDiagonal() const;     // shortest diagonal / longest
    double GetOddy() const;         // largest deviation of the metric tensor from that of a cube

private:
    using Vector = MMVector<double, 3>;
    using Matrix = std::array<Vector, 3>; // columns

    bool IsHexahedron() const noexcept { return m_size == 8; }
    Vector Edge(unsigned int from, unsigned int to) const { return m_corners[to] - m_corners[from]; }
    Matrix At(unsigned int corner) const;
    // The sum of four corners less that of four others.
    Vector Difference(std::array<unsigned char, 4> const& plus,
                      std::array<unsigned char, 4> const& minus) const;
    Matrix PrincipalAxes() const;
    std::array<double, 3> AxisLengths() const;
    // The largest, or smallest, value of a function of a matrix at corners and, for a hexahedron, the centre.
    template <typename Value>
    double Largest(Value const& value) const;
    template <typename Value>
    double Smallest(Value const& value) const;
    // visit(length) of each edge; visit(cosine) of each corner of each face.
    template <typename Visit>
    void ForEachEdge(Visit const& visit) const;
    template <typename Visit>
    void ForEachFaceCosine(Visit const& visit) const;

    unsigned int m_size;
    std::array<Vector, 8> m_corners{};
};

} // namespace KetSDK::Mesh
