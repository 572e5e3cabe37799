// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>

#include <KetSDK/Mesh/geometry/detail/VectorPair.h>
#include <KetSDK/Mesh/mesh/MMeshElementDescriptor.h>
#include <KetSDK/Mesh/mesh/detail/NearestCoordinate.h>

#include <algorithm>
#include <cmath>
#include <typeinfo>

using namespace KetSDK::Mesh::Detail;

namespace {

using Descriptor = MMeshElementDescriptor;

constexpr unsigned int first_mid_node = 4;

// The nodes where an object stores them.
template <typename T>
struct StoredNodes {
    MMVector<T, 3> const* corners;
    MMVector<T, 3> const* mids;

    MMVector<T, 3> const& operator[](unsigned int i) const noexcept {
        return i < first_mid_node ? corners[i] : mids[i - first_mid_node];
    }
};

// Nodes a and b side by side. One coordinate at a time, as they were stored: a wider read would wait for
// the stores.
template <typename Nodes>
[[gnu::always_inline]] inline VectorPair Pair(Nodes const& x, unsigned int a, unsigned int b) noexcept {
    auto const &p = x[a], &q = x[b];
    return {DoublePair{static_cast<double>(p[0]), static_cast<double>(q[0])},
            DoublePair{static_cast<double>(p[1]), static_cast<double>(q[1])},
            DoublePair{static_cast<double>(p[2]), static_cast<double>(q[2])}};
}

// det[a, b, c], multiplied out as for QualityJacobian, so that straight-sided elements have the same value
// by both.
[[gnu::always_inline]] inline DoublePair DeterminantOf(VectorPair const& a, VectorPair const& b,
                                                       VectorPair const& c) noexcept {
    return Dot(c, Cross(a, b));
}

// ---------------------------------------------------------------- mid nodes

// Lengths that are 0 for zero vectors, as mid nodes in their places have them: SafeLength, made for
// dividing, has not.
[[gnu::always_inline]] inline DoublePair TrueLength(VectorPair const& v) noexcept {
    constexpr DoublePair zero = {0.0, 0.0}, any_safe = {1.0, 1.0};
    DoublePair const square = Dot(v, v);
    auto const is_zero = (v.x == zero) & (v.y == zero) & (v.z == zero);
    if (InBothLanes(is_zero ? any_safe : square, smallest_safe_square, largest_safe_square)) [[likely]]
        return Sqrt(square);
    return DoublePair{First(v).Length(), First(Swapped(v)).Length()};
}

// How far the mid node of each edge lies from the middle of its edge, and the length of the edge; edges
// 0 and 1, 2 and 3, 4 and 5 side by side.
struct EdgeMeasures {
    DoublePair deviations[3];
    DoublePair lengths[3];

    template <typename Nodes>
    [[gnu::always_inline]] explicit EdgeMeasures(Nodes const& x) noexcept {
        constexpr auto& ends = Descriptor::descr_tet4_tet10_point;
        for (unsigned int i = 0; i < 3; ++i) {
            VectorPair const a = Pair(x, ends[2 * i][0], ends[2 * i + 1][0]);
            VectorPair const b = Pair(x, ends[2 * i][1], ends[2 * i + 1][1]);
            VectorPair const mid = Pair(x, first_mid_node + 2 * i, first_mid_node + 2 * i + 1);
            deviations[i] = TrueLength(mid - (a + b) * 0.5);
            lengths[i] = TrueLength(a - b);
        }
    }
};

bool InBothLanesLess(DoublePair v, double limit) noexcept {
    return v[0] < limit && v[1] < limit;
}

bool MidVerticesPass(EdgeMeasures const& edges, double percent) noexcept {
    for (unsigned int i = 0; i < 3; ++i)
        if (!InBothLanesLess(100.0 * edges.deviations[i] / edges.lengths[i], percent))
            return false;
    return true;
}

bool MidFacesPass(EdgeMeasures const& edges, double percent) noexcept {
    for (auto const& mids : Descriptor::descr_tet10_midpoints) {
        double largest = 0.0;
        double sum = 0.0;
        for (unsigned int const mid : mids) {
            unsigned int const edge = mid - first_mid_node;
            largest = std::max(largest, edges.deviations[edge / 2][edge % 2]);
            sum += edges.lengths[edge / 2][edge % 2];
        }
        if (!(100.0 * largest / (sum / 3.0) < percent))
            return false;
    }
    return true;
}

double LargestDeviation(EdgeMeasures const& edges, bool absolute) noexcept {
    DoublePair largest = {0.0, 0.0};
    for (unsigned int i = 0; i < 3; ++i)
        largest = Max(largest, absolute ? edges.deviations[i] : edges.deviations[i] / edges.lengths[i]);
    return MaxLane(largest);
}

// A position as a vertex, which is a coordinate of nodes where coordinates are integers.
template <typename T>
MMVector<T, 3> Rounded(MMVector<double, 3> const& position) noexcept {
    if constexpr (std::is_integral_v<T>) {
        return NearestCoordinates(position);
    } else {
        return MMVector<T, 3>(position);
    }
}

// ---------------------------------------------------------------- volume

// The sum of the volumes of the linear tetrahedra that a ten-node one is split into.
template <typename T, typename Nodes>
[[gnu::always_inline]] inline double SumOfVolumes(Nodes const& x) noexcept {
    constexpr auto& split = Descriptor::descr_tet10_to_tet4;
    double sum = 0.0;
    for (unsigned int i = 0; i < Descriptor::nb_tet10_to_tet4; i += 2) {
        unsigned char const *a = split[i], *b = split[i + 1];
        if constexpr (std::is_integral_v<T>) { // integer differences have a rule of their own
            sum += TetrahedronBase<T>(x[a[0]], x[a[1]], x[a[2]], x[a[3]]).Volume();
            sum += TetrahedronBase<T>(x[b[0]], x[b[1]], x[b[2]], x[b[3]]).Volume();
        } else {
            VectorPair const origin = Pair(x, a[0], b[0]);
            VectorPair const d1 = Pair(x, a[1], b[1]) - origin;
            VectorPair const d2 = Pair(x, a[2], b[2]) - origin;
            VectorPair const d3 = Pair(x, a[3], b[3]) - origin;
            DoublePair const volumes = Dot(d1, Cross(d2, d3)) / 6.0;
            sum = sum + volumes[0] + volumes[1];
        }
    }
    return sum;
}

// ---------------------------------------------------------------- Jacobian

// The points at which Jacobians are looked at, as barycentric coordinates: corners, middles of the edges
// (0,1), (0,2), (0,3), (1,2), (1,3), (2,3), centroid.
constexpr double sample_points[11][4] = {{1.0, 0.0, 0.0, 0.0}, {0.0, 1.0, 0.0, 0.0},    {0.0, 0.0, 1.0, 0.0},
                                         {0.0, 0.0, 0.0, 1.0}, {0.5, 0.5, 0.0, 0.0},    {0.5, 0.0, 0.5, 0.0},
                                         {0.5, 0.0, 0.0, 0.5}, {0.0, 0.5, 0.5, 0.0},    {0.0, 0.5, 0.0, 0.5},
                                         {0.0, 0.0, 0.5, 0.5}, {0.25, 0.25, 0.25, 0.25}};

// The columns g1 - g0, g2 - g0, g3 - g0 of a Jacobian at two points side by side.
struct Columns {
    VectorPair c[3];

    [[gnu::always_inline]] DoublePair Determinant() const noexcept { return DeterminantOf(c[0], c[1], c[2]); }

    [[gnu::always_inline]] friend Columns operator+(Columns const& a, Columns const& b) noexcept {
        return {{a.c[0] + b.c[0], a.c[1] + b.c[1], a.c[2] + b.c[2]}};
    }
    [[gnu::always_inline]] friend Columns operator*(Columns const& a, double f) noexcept {
        return {{a.c[0] * f, a.c[1] * f, a.c[2] * f}};
    }
    [[gnu::always_inline]] friend Columns Swapped(Columns const& a) noexcept {
        return {{Swapped(a.c[0]), Swapped(a.c[1]), Swapped(a.c[2])}};
    }
    // The first ones of a and b, plus the second ones.
    [[gnu::always_inline]] friend Columns PairSums(Columns const& a, Columns const& b) noexcept {
        Columns sums;
        for (unsigned int k = 0; k < 3; ++k)
            sums.c[k] = Firsts(a.c[k], b.c[k]) + Seconds(a.c[k], b.c[k]);
        return sums;
    }
};

// The Jacobian at the corners. It is affine in the barycentric coordinates, so the one at any other point
// is a mean of these four. Halving is exact: where nothing overflows, determinants of sums, scaled
// afterwards, have the bits of determinants of means.
class CornerJacobians {
public:
    template <typename Nodes>
    [[gnu::always_inline]] explicit CornerJacobians(Nodes const& x) noexcept
        : m_01(AtCorners(x, 0, 1))
        , m_23(AtCorners(x, 2, 3)) {}

    // At the sample points, in their order.
    [[gnu::always_inline]] std::array<double, 11> Determinants() const noexcept {
        Columns const e01_e23 = PairSums(m_01, m_23);
        DoublePair const at_01 = m_01.Determinant();
        DoublePair const at_23 = m_23.Determinant();
        DoublePair const on_01_23 = e01_e23.Determinant() * 0.125;
        DoublePair const on_02_13 = (m_01 + m_23).Determinant() * 0.125;
        DoublePair const on_03_12 = (m_01 + Swapped(m_23)).Determinant() * 0.125;
        DoublePair const centre = (e01_e23 + Swapped(e01_e23)).Determinant() * 0.015625;
        return {at_01[0],    at_01[1],    at_23[0],    at_23[1],    on_01_23[0], on_02_13[0],
                on_03_12[0], on_03_12[1], on_02_13[1], on_01_23[1], centre[0]};
    }

    // The smallest determinant at nodes and integration points over the mean at the integration points
    // (four-point rule of degree 2, with the eight digits and the start value that Verdict has).
    [[gnu::always_inline]] double Distortion() const noexcept {
        constexpr double far = 0.5854102, near = 0.1381966;
        constexpr double largest = 1e30;
        Columns const e01_e23 = PairSums(m_01, m_23);
        Columns const inner = (e01_e23 + Swapped(e01_e23)) * near;
        DoublePair const inner_01 = (inner + m_01 * (far - near)).Determinant();
        DoublePair const inner_23 = (inner + m_23 * (far - near)).Determinant();
        DoublePair smallest = {largest, largest};
        for (DoublePair const determinants :
             {inner_01, inner_23, m_01.Determinant(), m_23.Determinant(), e01_e23.Determinant() * 0.125,
              (m_01 + m_23).Determinant() * 0.125, (m_01 + Swapped(m_23)).Determinant() * 0.125})
            smallest = Min(smallest, determinants);
        double const mean = 0.25 * inner_01[0] + 0.25 * inner_01[1] + 0.25 * inner_23[0] + 0.25 * inner_23[1];
        return MinLane(smallest) / mean;
    }

private:
    // The node on the edge of two corners, or the corner itself.
    static constexpr unsigned char between[4][4] = {{0, 4, 6, 7}, {4, 1, 5, 8}, {6, 5, 2, 9}, {7, 8, 9, 3}};

    // The derivative by barycentric coordinate k at corners a and b.
    template <typename Nodes>
    [[gnu::always_inline]] static VectorPair Derivative(Nodes const& x, unsigned int k, unsigned int a,
                                                        unsigned int b) noexcept {
        return Pair(x, between[k][a], between[k][b]) * 4.0 - Pair(x, k, k);
    }
    template <typename Nodes>
    [[gnu::always_inline]] static Columns AtCorners(Nodes const& x, unsigned int a, unsigned int b) noexcept {
        VectorPair const g0 = Derivative(x, 0, a, b);
        return {{Derivative(x, 1, a, b) - g0, Derivative(x, 2, a, b) - g0, Derivative(x, 3, a, b) - g0}};
    }

    Columns m_01, m_23; // at the corners 0 and 1, 2 and 3
};

// Six times the volume of the corners.
template <typename Nodes>
[[gnu::always_inline]] inline double CornerDeterminant(Nodes const& x) noexcept {
    VectorPair const origin = Pair(x, 0, 0);
    VectorPair const d1_d2 = Pair(x, 1, 2) - origin;
    return DeterminantOf(d1_d2, Swapped(d1_d2), Pair(x, 3, 3) - origin)[0];
}

double SmallestOf(std::array<double, 11> const& values) noexcept {
    double smallest = values[0];
    for (double const value : values)
        smallest = value < smallest ? value : smallest;
    return smallest;
}
double LargestOf(std::array<double, 11> const& values) noexcept {
    double largest = values[0];
    for (double const value : values)
        largest = largest < value ? value : largest;
    return largest;
}

// A fixed value stands for an element that folds, or whose curved shape is inverted against its corners.
double Ratio(std::array<double, 11> const& determinants, double ofCorners) noexcept {
    constexpr double folded = -100.0;
    double const largest = LargestOf(determinants);
    double const ratio = largest / SmallestOf(determinants);
    return ratio < 0.0 || ofCorners * largest < 0.0 ? folded : ratio;
}

} // namespace

// ---------------------------------------------------------------- nodes

template <typename T>
std::array<MMVector<T, 3>, 6> Tetrahedron10Base<T>::MidNodesOf(MMeshElement const& element,
                                                               bool rawCoordinates) noexcept {
    if (element.GetNodeCount() < m_nb_vertices)
        return {};
    auto const mid = [&](unsigned int m) {
        return Tetrahedron10Base::NodeOf(element, first_mid_node + m, rawCoordinates);
    };
    return {mid(0), mid(1), mid(2), mid(3), mid(4), mid(5)};
}

template <typename T>
Tetrahedron10Base<T>::Tetrahedron10Base(MMeshElement const* element, bool rawCoordinates)
    : TetrahedronBase<T>(element, rawCoordinates)
    , m_true_quadratic(element->GetNodeCount() >= m_nb_vertices)
    , m_mid_points(MidNodesOf(*element, rawCoordinates)) {}

// True for an object of exactly this class, no virtual function of which is overridden: see TetrahedronBase.
template <typename T>
bool Tetrahedron10Base<T>::IsPlain() const noexcept {
    return &typeid(*this) == &typeid(Tetrahedron10Base<T>);
}

template <typename T>
typename Tetrahedron10Base<T>::NodeVectors Tetrahedron10Base<T>::NodesOfVirtuals() const {
    NodeVectors nodes;
    for (unsigned int i = 0; i < m_nb_vertices; ++i)
        nodes[i] = GetNode(i);
    return nodes;
}

// measure(nodes), with the nodes read where they are stored in an object of exactly this class.
template <typename T>
template <typename Measure>
[[gnu::always_inline]] inline auto Tetrahedron10Base<T>::OnNodes(Measure const& measure) const {
    if (IsPlain())
        return measure(StoredNodes<T>{this->Points().data(), m_mid_points.data()});
    return measure(NodesOfVirtuals());
}

template <typename T>
MMVector<T, 3> const& Tetrahedron10Base<T>::GetVertex(unsigned int i) const {
    return i < first_mid_node ? this->Points()[i] : m_mid_points[i - first_mid_node];
}

template <typename T>
void Tetrahedron10Base<T>::SetVertex(unsigned int i, MMVector<T, 3> const& position) {
    if (i < first_mid_node)
        TetrahedronBase<T>::SetVertex(i, position);
    else
        SetMidVertex(i - first_mid_node, position);
}

template <typename T>
std::uint64_t Tetrahedron10Base<T>::GetNbVertices() const {
    return m_nb_vertices;
}

template <typename T>
std::uint64_t Tetrahedron10Base<T>::GetNbFaces() const {
    return m_nb_faces;
}

template <typename T>
MMVector<T, 3> const& Tetrahedron10Base<T>::GetNode(unsigned int i) const {
    return GetVertex(i);
}

template <typename T>
MMVector<T, 3> const& Tetrahedron10Base<T>::GetMidVertex(unsigned int m) const {
    return m_mid_points[m];
}

template <typename T>
void Tetrahedron10Base<T>::SetMidVertex(unsigned int m, MMVector<T, 3> const& position) {
    m_mid_points[m] = position;
}

template <typename T>
bool Tetrahedron10Base<T>::IsTrueQuadratic() const {
    return m_true_quadratic;
}

template <typename T>
double Tetrahedron10Base<T>::Volume() const {
    if (!IsTrueQuadratic())
        return TetrahedronBase<T>::Volume();
    return OnNodes([](auto const& nodes) { return SumOfVolumes<T>(nodes); });
}

template <typename T>
MTriangle<double, 3> Tetrahedron10Base<T>::GetTriangleOfTet10(std::uint64_t i) {
    if (i >= 16 || !IsTrueQuadratic())
        return TetrahedronBase<T>::GetTriangleOfTet10(i);
    auto const face = static_cast<std::size_t>(i / 4);
    auto const quarter = static_cast<std::size_t>(i % 4);
    // Of a face A, B, C the mid nodes on AB, BC and CA, in this order.
    unsigned char const* corners = Descriptor::descr_triangle_point_ORIENTED[face];
    unsigned char const* mids = Descriptor::descr_tet10_midpoints[face];
    auto const node = [this](unsigned int n) { return DoubleVector(GetNode(n)); };
    if (quarter == 3)
        return {node(mids[0]), node(mids[1]), node(mids[2])};
    return {node(corners[quarter]), node(mids[quarter]), node(mids[(quarter + 2) % 3])};
}

// ---------------------------------------------------------------- mid nodes

template <typename T>
void Tetrahedron10Base<T>::ShrinkMidEdges(double factor) {
    if (!IsTrueQuadratic() || factor == 1.0)
        return;
    for (unsigned int m = 0; m < 6; ++m) {
        unsigned char const* ends = Descriptor::descr_tet4_tet10_point[m];
        DoubleVector const middle = (DoubleVector(GetNode(ends[0])) + DoubleVector(GetNode(ends[1]))) / 2.0;
        SetMidVertex(m, Rounded<T>(middle + factor * (DoubleVector(GetMidVertex(m)) - middle)));
    }
}

template <typename T>
bool Tetrahedron10Base<T>::CheckMidVertices(double percent) {
    return !IsTrueQuadratic() ||
           OnNodes([=](auto const& nodes) { return MidVerticesPass(EdgeMeasures(nodes), percent); });
}

template <typename T>
bool Tetrahedron10Base<T>::CheckMidFaces(double percent) {
    return !IsTrueQuadratic() ||
           OnNodes([=](auto const& nodes) { return MidFacesPass(EdgeMeasures(nodes), percent); });
}

template <typename T>
double Tetrahedron10Base<T>::MaxMidVertexDeviation(bool absolute) {
    if (!IsTrueQuadratic())
        return 0.0;
    return OnNodes([=](auto const& nodes) { return LargestDeviation(EdgeMeasures(nodes), absolute); });
}

// ---------------------------------------------------------------- Jacobian

template <typename T>
void Tetrahedron10Base<T>::_ComputeJacobian(double l0, double l1, double l2, double l3, DoubleVector& g0,
                                            DoubleVector& g1, DoubleVector& g2, DoubleVector& g3) {
    MMVector<T, 3> const* nodes[m_nb_vertices];
    for (unsigned int i = 0; i < m_nb_vertices; ++i)
        nodes[i] = &GetNode(i);
    for (std::size_t c = 0; c < 3; ++c) {
        auto const x = [&](unsigned int i) { return static_cast<double>((*nodes[i])[c]); };
        g0[c] = (4.0 * l0 - 1.0) * x(0) + 4.0 * l1 * x(4) + 4.0 * l2 * x(6) + 4.0 * l3 * x(7);
        g1[c] = (4.0 * l1 - 1.0) * x(1) + 4.0 * l0 * x(4) + 4.0 * l2 * x(5) + 4.0 * l3 * x(8);
        g2[c] = (4.0 * l2 - 1.0) * x(2) + 4.0 * l0 * x(6) + 4.0 * l1 * x(5) + 4.0 * l3 * x(9);
        g3[c] = (4.0 * l3 - 1.0) * x(3) + 4.0 * l0 * x(7) + 4.0 * l1 * x(8) + 4.0 * l2 * x(9);
    }
}

template <typename T>
double Tetrahedron10Base<T>::_ComputeDeterminant(DoubleVector& g0, DoubleVector& g1, DoubleVector& g2,
                                                 DoubleVector& g3) {
    return (g3 - g0).Dot((g1 - g0).Cross(g2 - g0));
}

// The determinants at the sample points, in their order, as a subclass computes them.
template <typename T>
std::array<double, 11> Tetrahedron10Base<T>::DeterminantsOfVirtuals() {
    std::array<double, 11> determinants;
    for (std::size_t i = 0; i < determinants.size(); ++i) {
        double const(&l)[4] = sample_points[i];
        DoubleVector g0, g1, g2, g3;
        _ComputeJacobian(l[0], l[1], l[2], l[3], g0, g1, g2, g3);
        determinants[i] = _ComputeDeterminant(g0, g1, g2, g3);
    }
    return determinants;
}

template <typename T>
double Tetrahedron10Base<T>::JacobianRatio() {
    if (!IsTrueQuadratic())
        return 1.0;
    if (!IsPlain())
        return Ratio(DeterminantsOfVirtuals(), this->QualityJacobian());
    StoredNodes<T> const nodes{this->Points().data(), m_mid_points.data()};
    return Ratio(CornerJacobians(nodes).Determinants(), CornerDeterminant(nodes));
}

template <typename T>
double Tetrahedron10Base<T>::MinJacobianDeterminant() {
    if (!IsTrueQuadratic())
        return this->QualityJacobian();
    if (!IsPlain())
        return SmallestOf(DeterminantsOfVirtuals());
    StoredNodes<T> const nodes{this->Points().data(), m_mid_points.data()};
    return SmallestOf(CornerJacobians(nodes).Determinants());
}

// Computed here and not by Verdict, whose distortion functions of all shapes share static tables that every
// call fills: beside another one in another thread, VTK's filters included, its values are wrong.
template <typename T>
double Tetrahedron10Base<T>::QualityJacobianDistortion() {
    if (IsPlain())
        return CornerJacobians(StoredNodes<T>{this->Points().data(), m_mid_points.data()}).Distortion();
    double rows[m_nb_vertices][3];
    this->_ConvertToVerdictPoints(rows, static_cast<int>(m_nb_vertices));
    return CornerJacobians(rows).Distortion();
}

template class Tetrahedron10Base<MLong>;
template class Tetrahedron10Base<float>;
template class Tetrahedron10Base<double>;
