// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshSolidMeasures.h>

#include <KetSDK/Mesh/mesh/MMeshElement.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace KetSDK::Mesh {

namespace {

constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Degrees = 57.29577951308232;    // in one radian
constexpr double WedgeSine = 0.8660254037844386; // of the angle in the ideal triangle
// The ratio for the corner of a wedge with edges of 1, three edges of a tetrahedron with one of them upright.
constexpr double IdealWedgeFrobenius = 1.16477;

// By corner the ends of its edges; their vectors form a right-handed system.
constexpr unsigned char HexahedronCorners[8][3] = {{1, 3, 4}, {2, 0, 5}, {3, 1, 6}, {0, 2, 7},
                                                   {7, 5, 0}, {4, 6, 1}, {5, 7, 2}, {6, 4, 3}};
constexpr unsigned char WedgeCorners[6][3] = {{1, 2, 3}, {2, 0, 4}, {0, 1, 5},
                                              {5, 4, 0}, {3, 5, 1}, {4, 3, 2}};

constexpr unsigned char HexahedronEdges[][2] = {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                                                {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
constexpr unsigned char WedgeEdges[][2] = {{0, 1}, {1, 2}, {2, 0}, {3, 4}, {4, 5},
                                           {5, 3}, {0, 3}, {1, 4}, {2, 5}};

// The corners of a face in their order; a triangle has its first corner again.
constexpr unsigned char HexahedronFaces[][4] = {{0, 1, 2, 3}, {1, 2, 6, 5}, {0, 1, 5, 4},
                                                {3, 2, 6, 7}, {4, 5, 6, 7}, {0, 3, 7, 4}};
constexpr unsigned char WedgeFaces[][4] = {
    {0, 1, 2, 0}, {3, 4, 5, 3}, {0, 1, 4, 3}, {1, 2, 5, 4}, {0, 2, 5, 3}};

using Matrix = std::array<MMVector<double, 3>, 3>;

double Determinant(Matrix const& m) {
    return m[0].Dot(m[1].Cross(m[2]));
}

double SumOfSquares(Matrix const& m) {
    return m[0].Dot(m[0]) + m[1].Dot(m[1]) + m[2].Dot(m[2]);
}

double ScaledDeterminant(Matrix const& m) {
    double const lengths = m[0].Length() * m[1].Length() * m[2].Length();
    return lengths == 0.0 ? 0.0 : Determinant(m) / lengths;
}

// |A| |A^-1| / 3.
double Condition(Matrix const& m) {
    double const determinant = Determinant(m);
    Matrix const adjoint = {m[0].Cross(m[1]), m[1].Cross(m[2]), m[2].Cross(m[0])};
    return determinant > 0.0 ? std::sqrt(SumOfSquares(m) * SumOfSquares(adjoint)) / determinant / 3.0
                             : Infinity;
}

// The aspect Frobenius of the tetrahedron of three edges, over that of the ideal wedge's.
double WedgeFrobenius(Matrix const& m) {
    double const determinant = Determinant(m);
    double const numerator = 1.5 * SumOfSquares(m) - (m[0].Dot(m[1]) + m[0].Dot(m[2]) + m[1].Dot(m[2]));
    return determinant > 0.0
               ? numerator / (3.0 * std::cbrt(2.0 * determinant * determinant)) / IdealWedgeFrobenius
               : Infinity;
}

// `ideal` is the determinant of the ideal corner with edges of 1.
double Shape(Matrix const& m, double ideal) {
    double const determinant = Determinant(m) / ideal;
    return determinant > 0.0 ? 3.0 * std::cbrt(determinant * determinant) / SumOfSquares(m) : 0.0;
}

// Oddy, Goldak, McDill, Bibby 1988, Trans. CSME 12.
double Oddy(Matrix const& m) {
    double squares = 0.0;
    for (auto const& a : m)
        for (auto const& b : m)
            squares += a.Dot(b) * a.Dot(b);
    double const trace = SumOfSquares(m);
    double const determinant = Determinant(m);
    return determinant > 0.0 ? (squares - trace * trace / 3.0) / std::pow(determinant, 4.0 / 3.0) : Infinity;
}

double Angle(double cosine) {
    return std::acos(std::clamp(cosine, -1.0, 1.0)) * Degrees;
}

} // namespace

MMeshSolidMeasures::MMeshSolidMeasures(MMeshElement const& element)
    : m_size(element.GetNodeCount()) {
    for (unsigned int i = 0; i < std::min(m_size, 8U); ++i)
        m_corners[i] = element.GetNode(i)->GetPosition();
}

MMeshSolidMeasures::Matrix MMeshSolidMeasures::At(unsigned int corner) const {
    unsigned char const(&ends)[3] = IsHexahedron() ? HexahedronCorners[corner] : WedgeCorners[corner];
    return {Edge(corner, ends[0]), Edge(corner, ends[1]), Edge(corner, ends[2])};
}

MMeshSolidMeasures::Vector MMeshSolidMeasures::Difference(std::array<unsigned char, 4> const& plus,
                                                          std::array<unsigned char, 4> const& minus) const {
    Vector sum;
    for (std::size_t i = 0; i < 4; ++i)
        sum = sum + (m_corners[plus[i]] - m_corners[minus[i]]);
    return sum;
}

MMeshSolidMeasures::Matrix MMeshSolidMeasures::PrincipalAxes() const {
    return {Difference({1, 2, 5, 6}, {0, 3, 4, 7}), Difference({3, 2, 7, 6}, {0, 1, 4, 5}),
            Difference({4, 5, 6, 7}, {0, 1, 2, 3})};
}

std::array<double, 3> MMeshSolidMeasures::AxisLengths() const {
    Matrix const axes = PrincipalAxes();
    return {axes[0].Length(), axes[1].Length(), axes[2].Length()};
}

template <typename Value>
double MMeshSolidMeasures::Largest(Value const& value) const {
    double largest = value(At(0));
    for (unsigned int corner = 1; corner < m_size; ++corner)
        largest = std::max(largest, value(At(corner)));
    return IsHexahedron() ? std::max(largest, value(PrincipalAxes())) : largest;
}

template <typename Value>
double MMeshSolidMeasures::Smallest(Value const& value) const {
    return -Largest([&value](Matrix const& m) { return -value(m); });
}

template <typename Visit>
void MMeshSolidMeasures::ForEachEdge(Visit const& visit) const {
    using Edges = std::span<unsigned char const[2]>;
    for (auto const& ends : IsHexahedron() ? Edges(HexahedronEdges) : Edges(WedgeEdges))
        visit(Edge(ends[0], ends[1]).Length());
}

template <typename Visit>
void MMeshSolidMeasures::ForEachFaceCosine(Visit const& visit) const {
    using Faces = std::span<unsigned char const[4]>;
    for (auto const& face : IsHexahedron() ? Faces(HexahedronFaces) : Faces(WedgeFaces)) {
        unsigned int const corners = face[3] == face[0] ? 3 : 4;
        for (unsigned int i = 0; i < corners; ++i) {
            Vector const next = Edge(face[i], face[(i + 1) % corners]);
            Vector const last = Edge(face[i], face[(i + corners - 1) % corners]);
            double const lengths = next.Length() * last.Length();
            visit(lengths == 0.0 ? 1.0 : next.Dot(last) / lengths);
        }
    }
}

double MMeshSolidMeasures::GetMinEdgeLength() const {
    double shortest = Infinity;
    ForEachEdge([&shortest](double length) { shortest = std::min(shortest, length); });
    return shortest;
}

double MMeshSolidMeasures::GetMaxEdgeLength() const {
    double longest = 0.0;
    ForEachEdge([&longest](double length) { longest = std::max(longest, length); });
    return longest;
}

double MMeshSolidMeasures::GetEdgeMaxMin() const {
    return GetMaxEdgeLength() / GetMinEdgeLength();
}

double MMeshSolidMeasures::GetEdgeMinMax() const {
    return GetMinEdgeLength() / GetMaxEdgeLength();
}

double MMeshSolidMeasures::GetMinFaceAngle() const {
    double largest = -1.0;
    ForEachFaceCosine([&largest](double cosine) { largest = std::max(largest, cosine); });
    return Angle(largest);
}

double MMeshSolidMeasures::GetMaxFaceAngle() const {
    double smallest = 1.0;
    ForEachFaceCosine([&smallest](double cosine) { smallest = std::min(smallest, cosine); });
    return Angle(smallest);
}

double MMeshSolidMeasures::GetJacobian() const {
    double smallest = IsHexahedron() ? Determinant(PrincipalAxes()) / 64.0 : Infinity;
    for (unsigned int corner = 0; corner < m_size; ++corner)
        smallest = std::min(smallest, Determinant(At(corner)));
    return smallest;
}

double MMeshSolidMeasures::GetScaledJacobian() const {
    return Smallest(ScaledDeterminant) / (IsHexahedron() ? 1.0 : WedgeSine);
}

double MMeshSolidMeasures::GetCondition() const {
    return IsHexahedron() ? Largest(Condition) : Largest(WedgeFrobenius);
}

double MMeshSolidMeasures::GetMeanAspectFrobenius() const {
    double sum = 0.0;
    for (unsigned int corner = 0; corner < m_size; ++corner)
        sum += IsHexahedron() ? Condition(At(corner)) : WedgeFrobenius(At(corner));
    return sum / m_size;
}

double MMeshSolidMeasures::GetShape() const {
    double const ideal = IsHexahedron() ? 1.0 : WedgeSine;
    return Smallest([ideal](Matrix const& m) { return Shape(m, ideal); });
}

double MMeshSolidMeasures::GetMaxEdgeRatio() const {
    auto const lengths = AxisLengths();
    return IsHexahedron() ? std::ranges::max(lengths) / std::ranges::min(lengths) : NaN;
}

double MMeshSolidMeasures::GetSkew() const {
    if (!IsHexahedron())
        return NaN;
    Matrix const axes = PrincipalAxes();
    auto const length = AxisLengths();
    double largest = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        std::size_t const k = (i + 1) % 3;
        double const lengths = length[i] * length[k];
        largest = std::max(largest, lengths == 0.0 ? 1.0 : std::fabs(axes[i].Dot(axes[k])) / lengths);
    }
    return largest;
}

double MMeshSolidMeasures::GetTaper() const {
    if (!IsHexahedron())
        return NaN;
    auto const length = AxisLengths();
    auto const taper = [](double cross, double shorter) {
        return shorter == 0.0 ? Infinity : cross / shorter;
    };
    return std::max({taper(Difference({0, 2, 4, 6}, {1, 3, 5, 7}).Length(), std::min(length[0], length[1])),
                     taper(Difference({0, 3, 5, 6}, {1, 2, 4, 7}).Length(), std::min(length[0], length[2])),
                     taper(Difference({0, 1, 6, 7}, {2, 3, 4, 5}).Length(), std::min(length[1], length[2]))});
}

double MMeshSolidMeasures::GetStretch() const {
    double longest = 0.0;
    for (unsigned int i = 0; i < 4; ++i)
        longest = std::max(longest, Edge(i, i < 2 ? i + 6 : i + 2).Length());
    return IsHexahedron() ? std::sqrt(3.0) * GetMinEdgeLength() / longest : NaN;
}

double MMeshSolidMeasures::GetDiagonal() const {
    double shortest = Infinity;
    double longest = 0.0;
    for (unsigned int i = 0; i < 4; ++i) {
        double const length = Edge(i, i < 2 ? i + 6 : i + 2).Length();
        shortest = std::min(shortest, length);
        longest = std::max(longest, length);
    }
    return IsHexahedron() ? shortest / longest : NaN;
}

double MMeshSolidMeasures::GetOddy() const {
    return IsHexahedron() ? Largest(Oddy) : NaN;
}

} // namespace KetSDK::Mesh
