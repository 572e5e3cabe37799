// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/TetrahedronBase.h>

#include <KetSDK/Math/MathCore/MMatrix3x3.h>
#include <KetSDK/Mesh/geometry/detail/SafeLength.h>
#include <KetSDK/Mesh/geometry/detail/TetrahedronPair.h>
#include <KetSDK/Mesh/geometry/detail/VectorPair.h>
#include <KetSDK/Mesh/mesh/MMeshElementDescriptor.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <tuple>
#include <typeinfo>

using namespace KetSDK::Mesh::Detail;

namespace {

using Descriptor = MMeshElementDescriptor;

template <typename List>
double SmallestOf(List const& values) noexcept {
    double smallest = values[0];
    for (double const value : values)
        smallest = value < smallest ? value : smallest;
    return smallest;
}
template <typename List>
double LargestOf(List const& values) noexcept {
    double largest = values[0];
    for (double const value : values)
        largest = largest < value ? value : largest;
    return largest;
}

template <typename List>
double SumOf(List const& values) noexcept {
    double sum = 0.0;
    for (double const value : values)
        sum += value;
    return sum;
}

// a - b, coordinate by coordinate: GCC keeps it in registers, where it copies the operands of the
// operator through memory.
MMVector<double, 3> Difference(MMVector<double, 3> const& a, MMVector<double, 3> const& b) noexcept {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

// The signed volume on the differences d_k = P_k - P_0.
[[gnu::always_inline]] inline double SignedVolume(MMVector<double, 3> const& d1,
                                                  MMVector<double, 3> const& d2,
                                                  MMVector<double, 3> const& d3) noexcept {
    return d1.Dot(d2.Cross(d3)) / 6.0;
}

// a - b modulo 2^32, as 32-bit integers subtract.
double WrappedDifference(MLong a, MLong b) noexcept {
    return static_cast<MLong>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

MMVector<double, 3> VolumeDifference(MMVector<MLong, 3> const& a, MMVector<MLong, 3> const& b) noexcept {
    return {WrappedDifference(a[0], b[0]), WrappedDifference(a[1], b[1]), WrappedDifference(a[2], b[2])};
}
template <typename T>
MMVector<double, 3> VolumeDifference(MMVector<T, 3> const& a, MMVector<T, 3> const& b) noexcept {
    return Difference(MMVector<double, 3>(a), MMVector<double, 3>(b));
}

// Six times the volume, by the edges that Verdict takes.
double VerdictJacobian(std::array<MMVector<double, 3>, 4> const& p) noexcept {
    MMVector<double, 3> const side0 = Difference(p[1], p[0]);
    MMVector<double, 3> const side2 = Difference(p[0], p[2]);
    MMVector<double, 3> const side3 = Difference(p[3], p[0]);
    return side3.Dot(side2.Cross(side0));
}

// The six edge vectors P_b - P_a of a tetrahedron, opposite edges side by side: every two edges of
// different pairs share a corner.
struct EdgeVectors {
    VectorPair e01_e23, e02_e13, e03_e12;

    // Always inline, as all that follows for the measures: edges that are handed on in memory cost more
    // than what is computed of them.
    [[gnu::always_inline]] explicit EdgeVectors(std::array<MMVector<double, 3>, 4> const& p) noexcept {
        VectorPair const p01 = VectorPair::Of(p[0], p[1]);
        VectorPair const p23 = VectorPair::Of(p[2], p[3]);
        e01_e23 = VectorPair::Of(p[1], p[3]) - VectorPair::Of(p[0], p[2]);
        e02_e13 = p23 - p01;
        e03_e12 = Swapped(p23) - p01;
    }

    MMVector<double, 3> E01() const noexcept { return First(e01_e23); }
    MMVector<double, 3> E02() const noexcept { return First(e02_e13); }
    MMVector<double, 3> E03() const noexcept { return First(e03_e12); }
};

struct SquaredEdges {
    DoublePair l01_l23, l02_l13, l03_l12;

    [[gnu::always_inline]] explicit SquaredEdges(EdgeVectors const& e) noexcept
        : l01_l23(Dot(e.e01_e23, e.e01_e23))
        , l02_l13(Dot(e.e02_e13, e.e02_e13))
        , l03_l12(Dot(e.e03_e12, e.e03_e12)) {}

    double Largest() const noexcept { return MaxLane(Max(Max(l01_l23, l02_l13), l03_l12)); }
    double Smallest() const noexcept { return MinLane(Min(Min(l01_l23, l02_l13), l03_l12)); }
    double Sum() const noexcept { return SumOf(List()); }
    // In the order (0,1), (0,2), (0,3), (1,2), (1,3), (2,3).
    std::array<double, 6> List() const noexcept {
        return {l01_l23[0], l02_l13[0], l03_l12[0], l03_l12[1], l02_l13[1], l01_l23[1]};
    }
};

double VerdictScaledJacobian(std::array<MMVector<double, 3>, 4> const& p) noexcept {
    constexpr double smallest = 1e-30;
    constexpr double largest = 1e+30;
    double const jacobian = VerdictJacobian(p);
    auto const [l01, l02, l03, l12, l13, l23] = SquaredEdges(EdgeVectors(p)).List();
    double const products[4] = {l01 * l02 * l03, l01 * l12 * l13, l12 * l02 * l23, l03 * l13 * l23};
    double const denominator = std::max(std::sqrt(LargestOf(products)), std::fabs(jacobian));
    if (denominator < smallest)
        return largest;
    return std::sqrt(2.0) * jacobian / denominator;
}

// The cosines of the twelve angles between two edges at a corner, two by two. Each edge is normalised
// once, from its lower corner: seen from the other one it has the same bits but for the signs.
struct CornerCosines {
    DoublePair pairs[6];

    explicit CornerCosines(EdgeVectors const& e) noexcept {
        constexpr DoublePair second_reversed = {1.0, -1.0};
        VectorPair const a = Normalised(e.e01_e23);
        VectorPair const b = Normalised(e.e02_e13);
        VectorPair const c = Normalised(e.e03_e12);
        VectorPair const b_swapped = Swapped(b);
        VectorPair const c_swapped = Swapped(c);
        pairs[0] = Dot(a, b);                            // 01 02 at 0, 23 13 at 3
        pairs[1] = -Dot(a, b_swapped);                   // 01 13 at 1, 23 02 at 2
        pairs[2] = Dot(a, c) * second_reversed;          // 01 03 at 0, 23 12 at 2
        pairs[3] = -Dot(a, c_swapped) * second_reversed; // 01 12 at 1, 23 03 at 3
        pairs[4] = Dot(b, c);                            // 02 03 at 0, 13 12 at 1
        pairs[5] = Dot(b, c_swapped);                    // 02 12 at 2, 13 03 at 3
    }

    double Largest(double start) const noexcept {
        DoublePair largest = {start, start};
        for (DoublePair const& pair : pairs)
            largest = Max(largest, pair);
        return MaxLane(largest);
    }
    double Smallest(double start) const noexcept {
        DoublePair smallest = {start, start};
        for (DoublePair const& pair : pairs)
            smallest = Min(smallest, pair);
        return MinLane(smallest);
    }
    // A cosine that rounding has put beyond 1 belongs to no angle: this replaces it by `other`.
    CornerCosines& ReplaceInvalid(double other) noexcept {
        for (DoublePair& pair : pairs)
            pair = Abs(pair) <= DoublePair{1.0, 1.0} ? pair : DoublePair{other, other};
        return *this;
    }
};

// The dot products of every two of four vectors (0, 1) and (2, 3).
struct MutualDots {
    DoublePair d02_d13, d03_d12, d01_d23;

    [[gnu::always_inline]] MutualDots(VectorPair const& v01, VectorPair const& v23) noexcept
        : d02_d13(Dot(v01, v23))
        , d03_d12(Dot(v01, Swapped(v23)))
        , d01_d23(Dot(Firsts(v01, v23), Seconds(v01, v23))) {}

    double Largest(double start) const noexcept {
        return MaxLane(Max(Max(Max(DoublePair{start, start}, d02_d13), d03_d12), d01_d23));
    }
    double Smallest(double start) const noexcept {
        return MinLane(Min(Min(Min(DoublePair{start, start}, d02_d13), d03_d12), d01_d23));
    }
};

// The smallest distance of a corner to the plane of the other three.
//
// A corner's height is the length of an edge to it along the normal of the opposite face, which is the cross
// product of two edges of that face. The direction of no edge matters.
//
//        P3
//       /|\          corner  edge  edges of the face
//      / | \           P0     01    12, 13
//    P0 -|- P2         P1     01    02, 03
//      \ | /           P2     12    01, 13
//       \|/            P3     13    12, 01
//        P1
[[gnu::always_inline]] inline double SmallestHeight(EdgeVectors const& e) noexcept {
    VectorPair const e01_e01 = Firsts(e.e01_e23, e.e01_e23);
    VectorPair const e12_e02 = Seconds(e.e03_e12, Swapped(e.e02_e13));
    VectorPair const e13_e03 = Seconds(e.e02_e13, Swapped(e.e03_e12));
    VectorPair const e12_e13 = Seconds(e.e03_e12, e.e02_e13);
    VectorPair const e01_e12 = Firsts(e.e01_e23, Swapped(e.e03_e12));
    VectorPair const e13_e01 = Firsts(Swapped(e.e02_e13), e.e01_e23);
    DoublePair const of_p0_p1 = Abs(DotWithUnit(e01_e01, Cross(e12_e02, e13_e03)));
    DoublePair const of_p2_p3 = Abs(DotWithUnit(e12_e13, Cross(e01_e12, e13_e01)));
    return MinLane(Min(of_p0_p1, of_p2_p3));
}

// The sum of the areas of the faces (0,1,2), (0,1,3), (0,2,3), (1,2,3).
[[gnu::always_inline]] inline double Surface(EdgeVectors const& e) noexcept {
    VectorPair const e01_e01 = Firsts(e.e01_e23, e.e01_e23);
    VectorPair const e02_e03 = Firsts(e.e02_e13, e.e03_e12);
    VectorPair const e02_e12 = Firsts(e.e02_e13, Swapped(e.e03_e12));
    VectorPair const e03_e13 = Firsts(e.e03_e12, Swapped(e.e02_e13));
    DoublePair const first = Length(Cross(e01_e01, e02_e03)) * 0.5;
    DoublePair const second = Length(Cross(e02_e12, e03_e13)) * 0.5;
    return first[0] + first[1] + second[0] + second[1];
}

// 0 where the volume is too small to mean anything.
[[gnu::always_inline]] inline double InsphereRadius(double volume, EdgeVectors const& e) noexcept {
    constexpr double smallest_volume = 1.4901161193847656e-08; // 2^-26
    double const magnitude = std::fabs(volume);
    if (magnitude < smallest_volume)
        return 0.0;
    return 3.0 * magnitude / Surface(e);
}

// Centre, relative to P0, and squared radius; false for a flat element, which leaves both as they are.
// The d_k are P_k - P_0.
[[gnu::always_inline]] inline bool Circumsphere(MMVector<double, 3> const& d1, MMVector<double, 3> const& d2,
                                                MMVector<double, 3> const& d3, MMVector<double, 3>& x,
                                                double& squaredRadius) noexcept {
    MMVector<double, 3> const b(d1.Dot(d1) / 2.0, d2.Dot(d2) / 2.0, d3.Dot(d3) / 2.0);
    if (!MMatrix3x3(d1, d2, d3).Solve(b, x))
        return false;
    squaredRadius = x.Dot(x);
    return true;
}

[[gnu::always_inline]] inline double CircumsphereRadius(MMVector<double, 3> const& d1,
                                                        MMVector<double, 3> const& d2,
                                                        MMVector<double, 3> const& d3) noexcept {
    MMVector<double, 3> x;
    double squared_radius = DBL_MAX;
    Circumsphere(d1, d2, d3, x, squared_radius);
    return Sqrt(squared_radius);
}

double InsphereEdgeQuality(double insphere, double longestEdge) noexcept {
    return 4.898979485566356 * insphere / longestEdge;
}

} // namespace

// The corners A, B, C of the four oriented faces, faces 0 and 1 in the first pair, 2 and 3 in the other.
template <typename T>
struct TetrahedronBase<T>::Faces {
    VectorPair a[2], b[2], c[2];

    // What GetFaceOriented gives for these corners.
    [[gnu::always_inline]] static Faces Of(std::array<DoubleVector, 4> const& p) noexcept {
        constexpr auto& corner = Descriptor::descr_triangle_point_ORIENTED;
        Faces faces;
        for (unsigned int i = 0; i < 2; ++i) {
            unsigned char const* first = corner[2 * i];
            unsigned char const* second = corner[2 * i + 1];
            faces.a[i] = VectorPair::Of(p[first[0]], p[second[0]]);
            faces.b[i] = VectorPair::Of(p[first[1]], p[second[1]]);
            faces.c[i] = VectorPair::Of(p[first[2]], p[second[2]]);
        }
        return faces;
    }
    // (B - A) x (C - A), pointing out of a positive element; twice the area long.
    [[gnu::always_inline]] VectorPair Normals(unsigned int pair) const noexcept {
        return Cross(b[pair] - a[pair], c[pair] - a[pair]);
    }
    // The smallest and the largest cosine of the dihedral angles; the normals point outwards, hence the
    // signs.
    [[gnu::always_inline]] std::pair<double, double> DihedralCosines() const noexcept {
        MutualDots const dots(Normalised(Normals(0)), Normalised(Normals(1)));
        return {-dots.Largest(-DBL_MAX), -dots.Smallest(DBL_MAX)};
    }
};

// ---------------------------------------------------------------- access to the corners

// True for an object of exactly this class: no virtual function is overridden, so what one would give may be
// computed in place, without its allocation. The addresses are compared because that is quick; where
// the loader has made two of them, the virtual functions are called, which gives the same values.
template <typename T>
bool TetrahedronBase<T>::IsPlain() const noexcept {
    return &typeid(*this) == &typeid(TetrahedronBase<T>);
}

// Several virtual functions that only read are not const in the interface; const measures call them through
// this.
template <typename T>
TetrahedronBase<T>& TetrahedronBase<T>::Virtuals() const noexcept {
    return const_cast<TetrahedronBase<T>&>(*this);
}

template <typename T>
TetrahedronBase<T>::TetrahedronBase(MMeshElement const* element)
    : TetrahedronBase(element, false) {}

template <typename T>
TetrahedronBase<T>::TetrahedronBase(MMeshElement const* element, bool rawCoordinates)
    : m_points{NodeOf(*element, 0, rawCoordinates), NodeOf(*element, 1, rawCoordinates),
               NodeOf(*element, 2, rawCoordinates), NodeOf(*element, 3, rawCoordinates)} {}

// The corners in double: the points themselves where they are double already.
template <typename T>
decltype(auto) TetrahedronBase<T>::Corners() const noexcept {
    if constexpr (std::is_same_v<T, double>)
        return (m_points);
    else
        return std::array<DoubleVector, 4>{Corner(0), Corner(1), Corner(2), Corner(3)};
}

template <typename T>
[[gnu::always_inline]] inline typename TetrahedronBase<T>::Faces TetrahedronBase<T>::OrientedFaces() const {
    if (IsPlain())
        return Faces::Of(Corners());
    Faces faces;
    for (unsigned int i = 0; i < 2; ++i) {
        MTriangle<double, 3> const first = Virtuals().GetFaceOriented(2 * i);
        MTriangle<double, 3> const second = Virtuals().GetFaceOriented(2 * i + 1);
        faces.a[i] = VectorPair::Of(first[0], second[0]);
        faces.b[i] = VectorPair::Of(first[1], second[1]);
        faces.c[i] = VectorPair::Of(first[2], second[2]);
    }
    return faces;
}

// The four corners as the virtual function that hands elements to Verdict writes them.
template <typename T>
std::array<MMVector<double, 3>, 4> TetrahedronBase<T>::VerdictCorners() const {
    double rows[4][3];
    this->_ConvertToVerdictPoints(rows, 4);
    std::array<DoubleVector, 4> corners;
    for (std::size_t i = 0; i < 4; ++i)
        corners[i] = DoubleVector(rows[i][0], rows[i][1], rows[i][2]);
    return corners;
}

template <typename T>
MMVector<T, 3> const& TetrahedronBase<T>::GetVertex(unsigned int i) const {
    return m_points[i];
}

template <typename T>
void TetrahedronBase<T>::SetVertex(unsigned int i, MMVector<T, 3> const& position) {
    m_points[i] = position;
}

template <typename T>
std::uint64_t TetrahedronBase<T>::GetNbVertices() const {
    return m_nb_vertices;
}

template <typename T>
std::uint64_t TetrahedronBase<T>::GetNbFaces() const {
    return m_nb_faces;
}

// ---------------------------------------------------------------- basic geometry

template <typename T>
double TetrahedronBase<T>::Volume() const {
    // Integer differences wrap in 32 bits: in meshes that span more than 2^31 this decides the result.
    return SignedVolume(VolumeDifference(m_points[1], m_points[0]),
                        VolumeDifference(m_points[2], m_points[0]),
                        VolumeDifference(m_points[3], m_points[0]));
}

// The volume of a plain object, from its edges where they are the differences that Volume takes.
template <typename T>
template <typename Edges>
[[gnu::always_inline]] inline double TetrahedronBase<T>::PlainVolume(Edges const& e) const {
    if constexpr (std::is_integral_v<T>)
        return TetrahedronBase::Volume();
    else
        return SignedVolume(e.E01(), e.E02(), e.E03());
}

template <typename T>
bool TetrahedronBase<T>::OrientationOK() const {
    auto const& p = Corners();
    DoubleVector const d1 = Difference(p[1], p[0]);
    DoubleVector const d2 = Difference(p[2], p[0]);
    DoubleVector const d3 = Difference(p[3], p[0]);
    DoubleVector const normal = d1.Cross(d3);
    // The sign of the volume as Volume computes it: what has none there is flat here, and not inverted by
    // the rounding of a unit normal.
    double const square = normal.Dot(normal);
    double const volume = SignedVolume(d1, d2, d3);
    if (square >= smallest_safe_square && square <= largest_safe_square && std::isfinite(volume)) [[likely]]
        return volume >= 0.0;
    double const length = SafeLength(normal[0], normal[1], normal[2]); // a zero normal stays zero
    DoubleVector const unit(normal[0] / length, normal[1] / length, normal[2] / length);
    return d2.Dot(unit) <= 0.0;
}

template <typename T>
MMVector<double, 3> TetrahedronBase<T>::GetCentroid() {
    auto const& p = Corners();
    return {(p[0][0] + p[1][0] + p[2][0] + p[3][0]) * 0.25, (p[0][1] + p[1][1] + p[2][1] + p[3][1]) * 0.25,
            (p[0][2] + p[1][2] + p[2][2] + p[3][2]) * 0.25};
}

template <typename T>
MTriangle<double, 3> TetrahedronBase<T>::GetFaceUnoriented(unsigned int i) {
    unsigned char const* face = Descriptor::descr_triangle_point[i];
    return {Corner(face[0]), Corner(face[1]), Corner(face[2])};
}

template <typename T>
MTriangle<double, 3> TetrahedronBase<T>::GetFaceOriented(unsigned int i) {
    unsigned char const* face = Descriptor::descr_triangle_point_ORIENTED[i];
    return {Corner(face[0]), Corner(face[1]), Corner(face[2])};
}

template <typename T>
TriangularFace* TetrahedronBase<T>::GetFace(unsigned int i) const {
    MTriangle<double, 3> const triangle = Virtuals().GetFaceOriented(i);
    return new TriangularFace(triangle[0], triangle[1], triangle[2]);
}

template <typename T>
MMVector<double, 3> TetrahedronBase<T>::GetMidEdgePoint(unsigned char e) {
    unsigned char const* edge = Descriptor::descr_tet4_tet10_point[e];
    return (Corner(edge[0]) + Corner(edge[1])) * 0.5;
}

template <typename T>
MTriangle<double, 3> TetrahedronBase<T>::GetTriangleOfTet10(std::uint64_t) {
    return {};
}

template <typename T>
bool TetrahedronBase<T>::TetInSlice(unsigned char axis, double lo, double hi) const {
    return !LargerThanXYZPlane(axis, hi) && !SmallerThanXYZPlane(axis, lo);
}

template <typename T>
bool TetrahedronBase<T>::IsIntersected(unsigned char axis, double value) const {
    return !LargerThanXYZPlane(axis, value) && !SmallerThanXYZPlane(axis, value);
}

template <typename T>
bool TetrahedronBase<T>::LargerThanXYZPlane(unsigned char axis, double value) const {
    return std::all_of(m_points.begin(), m_points.end(),
                       [=](auto const& p) { return static_cast<double>(p[axis]) > value; });
}

template <typename T>
bool TetrahedronBase<T>::SmallerThanXYZPlane(unsigned char axis, double value) const {
    return std::all_of(m_points.begin(), m_points.end(),
                       [=](auto const& p) { return static_cast<double>(p[axis]) < value; });
}

// ---------------------------------------------------------------- lengths, heights, areas

template <typename T>
std::vector<double> TetrahedronBase<T>::_compute_sq_lengths() {
    std::array<double, 6> const lengths = SquaredEdges(EdgeVectors(Corners())).List();
    return {lengths.begin(), lengths.end()};
}

template <typename T>
double TetrahedronBase<T>::_compute_sum_sq_lengths() const {
    return IsPlain() ? SquaredEdges(EdgeVectors(Corners())).Sum() : SumOf(Virtuals()._compute_sq_lengths());
}

template <typename T>
double TetrahedronBase<T>::GetMaxEdgeLength() const {
    return Sqrt(IsPlain() ? SquaredEdges(EdgeVectors(Corners())).Largest()
                          : LargestOf(Virtuals()._compute_sq_lengths()));
}

template <typename T>
double TetrahedronBase<T>::GetMinEdgeLength() const {
    return Sqrt(IsPlain() ? SquaredEdges(EdgeVectors(Corners())).Smallest()
                          : SmallestOf(Virtuals()._compute_sq_lengths()));
}

template <typename T>
double TetrahedronBase<T>::GetMinHeight() const {
    return SmallestHeight(EdgeVectors(Corners()));
}

template <typename T>
void TetrahedronBase<T>::GetMinMaxArea(double& minArea, double& maxArea) const {
    Faces const faces = OrientedFaces();
    DoublePair const first = Length(faces.Normals(0)) * 0.5;
    DoublePair const second = Length(faces.Normals(1)) * 0.5;
    minArea = MinLane(Min(Min(DoublePair{DBL_MAX, DBL_MAX}, first), second));
    maxArea = MaxLane(Max(Max(DoublePair{-DBL_MAX, -DBL_MAX}, first), second));
}

// ---------------------------------------------------------------- spheres

template <typename T>
double TetrahedronBase<T>::RadiusCircumsphere() const {
    auto const& p = Corners();
    return CircumsphereRadius(Difference(p[1], p[0]), Difference(p[2], p[0]), Difference(p[3], p[0]));
}

template <typename T>
MMVector<double, 3> TetrahedronBase<T>::MidpointCircumsphere() {
    auto const& p = Corners();
    DoubleVector x;
    double squared_radius;
    if (!Circumsphere(Difference(p[1], p[0]), Difference(p[2], p[0]), Difference(p[3], p[0]), x,
                      squared_radius))
        return DoubleVector(DBL_MAX, DBL_MAX, DBL_MAX);
    return {p[0][0] + x[0], p[0][1] + x[1], p[0][2] + x[2]};
}

template <typename T>
double TetrahedronBase<T>::RadiusInsphere() const {
    return InsphereRadius(this->Volume(), EdgeVectors(Corners()));
}

// ---------------------------------------------------------------- angles

template <typename T>
void TetrahedronBase<T>::GetMinMaxCos(double& minCos, double& maxCos) const {
    minCos = 2.0;
    maxCos = -2.0;
    if (IsPlain()) { // the corner angles of the faces are the angles at the corners
        CornerCosines const cosines{EdgeVectors(Corners())};
        minCos = cosines.Smallest(minCos);
        maxCos = cosines.Largest(maxCos);
        return;
    }
    Faces const faces = OrientedFaces();
    for (unsigned int i = 0; i < 2; ++i) {
        VectorPair const ab = Normalised(faces.b[i] - faces.a[i]);
        VectorPair const bc = Normalised(faces.c[i] - faces.b[i]);
        VectorPair const ca = Normalised(faces.a[i] - faces.c[i]);
        // One of the two edges comes into the corner: hence the signs.
        for (DoublePair const cosines : {-Dot(ca, ab), -Dot(ab, bc), -Dot(bc, ca)}) {
            minCos = MinLane(Min(DoublePair{minCos, minCos}, cosines));
            maxCos = MaxLane(Max(DoublePair{maxCos, maxCos}, cosines));
        }
    }
}

template <typename T>
void TetrahedronBase<T>::GetMinMaxCosDihedralAngle(double& minCos, double& maxCos) const {
    std::tie(minCos, maxCos) = OrientedFaces().DihedralCosines();
}

template <typename T>
double TetrahedronBase<T>::GetMinCosDihedralAngle() const {
    double min_cos, max_cos;
    GetMinMaxCosDihedralAngle(min_cos, max_cos);
    return min_cos;
}

template <typename T>
double TetrahedronBase<T>::GetMaxCosDihedralAngle() const {
    double min_cos, max_cos;
    GetMinMaxCosDihedralAngle(min_cos, max_cos);
    return max_cos;
}

template <typename T>
double TetrahedronBase<T>::GetCosLargestMidAngle() const {
    DoubleVector const centre = Virtuals().MidpointCircumsphere();
    VectorPair const c = VectorPair::Of(centre, centre);
    auto const& p = Corners();
    return MutualDots(Normalised(VectorPair::Of(p[0], p[1]) - c), Normalised(VectorPair::Of(p[2], p[3]) - c))
        .Smallest(DBL_MAX);
}

// The arc cosine falls monotonically, so the extreme angle is the arc cosine of the extreme cosine:
// one call in place of twelve.
template <typename T>
double TetrahedronBase<T>::QualityMinCornerAngle() const {
    constexpr double none = -2.0;
    double const max_cos = CornerCosines(EdgeVectors(Corners())).ReplaceInvalid(none).Largest(none);
    return max_cos == none ? DBL_MAX : std::acos(max_cos);
}

template <typename T>
double TetrahedronBase<T>::QualityMaxCornerAngle() const {
    constexpr double none = 2.0;
    double const min_cos = CornerCosines(EdgeVectors(Corners())).ReplaceInvalid(none).Smallest(none);
    return min_cos == none ? 0.0 : std::acos(min_cos);
}

template <typename T>
double TetrahedronBase<T>::QualityMinFacangle() const {
    double min_cos, max_cos;
    GetMinMaxCos(min_cos, max_cos);
    return std::acos(max_cos);
}

template <typename T>
double TetrahedronBase<T>::QualityMaxFacangle() const {
    double min_cos, max_cos;
    GetMinMaxCos(min_cos, max_cos);
    return std::acos(min_cos);
}

// ---------------------------------------------------------------- quality figures

template <typename T>
double TetrahedronBase<T>::QualitySpheres() const {
    // Of integers the volume is not that of the edges.
    if constexpr (!std::is_integral_v<T>) {
        DoublePair quality;
        if (IsPlain() && Spheres(TetrahedronPair::Twice(Corners()), quality))
            return quality[0];
    }
    return 3.0 * RadiusInsphere() / RadiusCircumsphere();
}

template <typename T>
double TetrahedronBase<T>::QualityInsphereEdge() const {
    if (!IsPlain())
        return InsphereEdgeQuality(RadiusInsphere(), GetMaxEdgeLength());
    EdgeVectors const edges(Corners());
    double const longest_edge = Sqrt(SquaredEdges(edges).Largest());
    return InsphereEdgeQuality(InsphereRadius(PlainVolume(edges), edges), longest_edge);
}

template <typename T>
double TetrahedronBase<T>::QualityMeanRatio() const {
    if (!IsPlain())
        return MeanRatio(this->Volume(), _compute_sum_sq_lengths());
    EdgeVectors const edges(Corners());
    return MeanRatio(PlainVolume(edges), SquaredEdges(edges).Sum());
}

// GetMinHeight and GetMaxEdgeLength.
template <typename T>
std::pair<double, double> TetrahedronBase<T>::HeightAndLongestEdge() const {
    if (!IsPlain())
        return {GetMinHeight(), GetMaxEdgeLength()};
    EdgeVectors const edges(Corners());
    return {SmallestHeight(edges), Sqrt(SquaredEdges(edges).Largest())};
}

template <typename T>
double TetrahedronBase<T>::QualityAspectRatio() const {
    auto const [height, edge] = HeightAndLongestEdge();
    return 1.224744871391589 * height / edge;
}

template <typename T>
double TetrahedronBase<T>::QualityAspectRatioTetgen() const {
    auto const [height, edge] = HeightAndLongestEdge();
    return edge / height;
}

template <typename T>
double TetrahedronBase<T>::QualityRadiusEdgeTetgen() const {
    return RadiusCircumsphere() / GetMinEdgeLength();
}

template <typename T>
double TetrahedronBase<T>::QualityEquiAngleSkew() const {
    double min_cos, max_cos;
    GetMinMaxCos(min_cos, max_cos);
    return AngleQuality(min_cos, max_cos, face_angles);
}

template <typename T>
double TetrahedronBase<T>::QualityEquiDihedralAngleSkew() const {
    double min_cos, max_cos;
    if (IsPlain())
        std::tie(min_cos, max_cos) = Faces::Of(Corners()).DihedralCosines();
    else
        GetMinMaxCosDihedralAngle(min_cos, max_cos);
    return AngleQuality(min_cos, max_cos, dihedral_angles);
}

template <typename T>
double TetrahedronBase<T>::QualityEdgeMinMax() const {
    if (IsPlain()) {
        SquaredEdges const lengths{EdgeVectors(Corners())};
        return Sqrt(lengths.Smallest()) / Sqrt(lengths.Largest());
    }
    return GetMinEdgeLength() / GetMaxEdgeLength();
}

template <typename T>
double TetrahedronBase<T>::QualityEdgeMaxMin() const {
    if (IsPlain()) {
        SquaredEdges const lengths{EdgeVectors(Corners())};
        return Sqrt(lengths.Largest()) / Sqrt(lengths.Smallest());
    }
    return GetMaxEdgeLength() / GetMinEdgeLength();
}

template <typename T>
double TetrahedronBase<T>::QualityJacobian() {
    return IsPlain() ? VerdictJacobian(Corners()) : VerdictJacobian(VerdictCorners());
}

template <typename T>
double TetrahedronBase<T>::QualityScaledJacobian() {
    return IsPlain() ? VerdictScaledJacobian(Corners()) : VerdictScaledJacobian(VerdictCorners());
}

template <typename T>
double TetrahedronBase<T>::QualityEquiSizeSkew() const {
    double const radius = RadiusCircumsphere();
    double const optimum = 0.5132002392796673 * (radius * radius * radius); // 8 sqrt(3) / 27 R^3
    return 1.0 - (optimum - this->Volume()) / optimum;
}

template <typename T>
double TetrahedronBase<T>::QualityAbacusShapeFactor() const {
    double const edge = RadiusCircumsphere() * std::sqrt(8.0 / 3.0);
    double const optimum = edge * edge * edge / (6.0 * std::sqrt(2.0));
    return this->Volume() / optimum;
}

template <typename T>
double TetrahedronBase<T>::QualityAnsysElementQuality() const {
    double const sum = _compute_sum_sq_lengths();
    return 124.70765802 * this->Volume() / std::sqrt(sum * sum * sum); // 36 sqrt(12), cut off
}

template <typename T>
double TetrahedronBase<T>::QualityFluentOrthogonalQuality() const {
    DoubleVector const centroid = Virtuals().GetCentroid();
    VectorPair const centre = VectorPair::Of(centroid, centroid);
    Faces const f = OrientedFaces();
    DoublePair cosines[2];
    for (unsigned int i = 0; i < 2; ++i) {
        VectorPair const to_face = (f.a[i] + f.b[i] + f.c[i]) * 0.3333333333333333 - centre;
        cosines[i] = DotWithUnit(to_face, f.Normals(i)) / Length(to_face);
    }
    return MinLane(Min(Min(DoublePair{1.0, 1.0}, cosines[0]), cosines[1]));
}

template <typename T>
double TetrahedronBase<T>::FluentOrthogonalQualityForNeighbor(TetrahedronBase<T> const& neighbor) const {
    DoubleVector shared[4];
    unsigned int count = 0;
    for (MMVector<T, 3> const& corner : neighbor.m_points)
        if (std::find(m_points.begin(), m_points.end(), corner) != m_points.end())
            shared[count++] = DoubleVector(corner);
    DoubleVector const normal = (shared[1] - shared[0]).Cross(shared[2] - shared[0]);
    DoubleVector const line = neighbor.Virtuals().GetCentroid() - Virtuals().GetCentroid();
    return normal.Dot(line) / SafeLength(normal[0], normal[1], normal[2]) /
           SafeLength(line[0], line[1], line[2]);
}

template class TetrahedronBase<MLong>;
template class TetrahedronBase<float>;
template class TetrahedronBase<double>;
