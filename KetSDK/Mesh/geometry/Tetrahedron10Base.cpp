#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>

#include <KetSDK/Mesh/geometry/SafeLength.h>
#include <KetSDK/Mesh/geometry/VectorPair.h>
#include <KetSDK/Mesh/geometry/VerdictAdapter.h>
#include <KetSDK/Mesh/mesh/MMeshElementDescriptor.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <typeinfo>

using namespace KetSDK::Mesh::Detail;

namespace {

using _Descriptor = MMeshElementDescriptor;
using _Vector = MMVector<double, 3>;
using _TenNodes = std::array<_Vector, 10>;

constexpr unsigned int first_mid_node = 4;
// The ratio of an element that folds.
constexpr double folded = -100.0;

template <typename T>
MMVector<T, 3> _NodeOf(MMeshElement const& element, unsigned int i, bool rawCoordinates) noexcept {
    if (i >= element.GetNodeCount())
        return {};
    MMeshPoint const& node = *element.GetNode(i);
    double const units = rawCoordinates ? 1.0 : KetSDK::Common::MInternalUnits::Get();
    return {static_cast<T>(node.x / units), static_cast<T>(node.y / units), static_cast<T>(node.z / units)};
}

double _Length(_Vector const& v) noexcept {
    return SafeLength(v[0], v[1], v[2]);
}

// Where a mid node lies relative to its edge.
struct _Edge {
    double deviation; // of the mid node from the middle
    double length;    // of the straight edge
};

_Vector _Middle(_TenNodes const& nodes, unsigned int edge) noexcept {
    unsigned char const* ends = _Descriptor::descr_tet4_tet10_point[edge];
    return (nodes[ends[0]] + nodes[ends[1]]) / 2.0;
}

_Edge _EdgeOf(_TenNodes const& nodes, unsigned int edge) noexcept {
    unsigned char const* ends = _Descriptor::descr_tet4_tet10_point[edge];
    return {_Length(nodes[first_mid_node + edge] - _Middle(nodes, edge)),
            _Length(nodes[ends[0]] - nodes[ends[1]])};
}

// A position as a vertex: rounded to the nearest where coordinates are integers, and cut off at the
// limits of their type.
template <typename T>
MMVector<T, 3> _Rounded(_Vector const& position) noexcept {
    if constexpr (std::is_integral_v<T>) {
        auto const rounded = [](double value) {
            constexpr double lowest = std::numeric_limits<T>::lowest();
            constexpr double highest = std::numeric_limits<T>::max();
            return static_cast<T>(std::lround(std::clamp(value, lowest, highest)));
        };
        return {rounded(position[0]), rounded(position[1]), rounded(position[2])};
    } else {
        return MMVector<T, 3>(position);
    }
}

// The points at which Jacobians are looked at, as barycentric coordinates: corners, middles of the edges
// (0,1), (0,2), (0,3), (1,2), (1,3), (2,3), centroid.
constexpr double sample_points[11][4] = {{1.0, 0.0, 0.0, 0.0}, {0.0, 1.0, 0.0, 0.0},    {0.0, 0.0, 1.0, 0.0},
                                         {0.0, 0.0, 0.0, 1.0}, {0.5, 0.5, 0.0, 0.0},    {0.5, 0.0, 0.5, 0.0},
                                         {0.5, 0.0, 0.0, 0.5}, {0.0, 0.5, 0.5, 0.0},    {0.0, 0.5, 0.0, 0.5},
                                         {0.0, 0.0, 0.5, 0.5}, {0.25, 0.25, 0.25, 0.25}};

} // namespace

// ---------------------------------------------------------------- nodes

template <typename T>
Tetrahedron10Base<T>::Tetrahedron10Base(MMeshElement const* element, bool rawCoordinates)
    : TetrahedronBase<T>(_NodeOf<T>(*element, 0, rawCoordinates), _NodeOf<T>(*element, 1, rawCoordinates),
                         _NodeOf<T>(*element, 2, rawCoordinates), _NodeOf<T>(*element, 3, rawCoordinates))
    , m_true_quadratic(element->GetNodeCount() >= m_nb_vertices) {
    if (m_true_quadratic)
        for (unsigned int m = 0; m < 6; ++m)
            m_mid_points[m] = _NodeOf<T>(*element, first_mid_node + m, rawCoordinates);
}

// True for an object of exactly this class, no slot of which is overridden: see TetrahedronBase.
template <typename T>
bool Tetrahedron10Base<T>::_IsPlain() const noexcept {
    return &typeid(*this) == &typeid(Tetrahedron10Base<T>);
}

// All nodes in double.
template <typename T>
std::array<MMVector<double, 3>, 10> Tetrahedron10Base<T>::_Nodes() const {
    std::array<_Vector, 10> nodes;
    bool const plain = _IsPlain();
    for (unsigned int i = 0; i < m_nb_vertices; ++i)
        nodes[i] = _Vector(plain ? Tetrahedron10Base::GetVertex(i) : GetNode(i));
    return nodes;
}

template <typename T>
MMVector<T, 3> const& Tetrahedron10Base<T>::GetVertex(unsigned int i) const {
    return i < first_mid_node ? TetrahedronBase<T>::GetVertex(i) : m_mid_points[i - first_mid_node];
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
    double volume = 0.0;
    for (auto const& t : _Descriptor::descr_tet10_to_tet4)
        volume += TetrahedronBase<T>(GetNode(t[0]), GetNode(t[1]), GetNode(t[2]), GetNode(t[3])).Volume();
    return volume;
}

template <typename T>
MTriangle<double, 3> Tetrahedron10Base<T>::GetTriangleOfTet10(std::uint64_t i) {
    if (i >= 16 || !IsTrueQuadratic())
        return TetrahedronBase<T>::GetTriangleOfTet10(i);
    auto const face = static_cast<std::size_t>(i / 4);
    auto const part = static_cast<std::size_t>(i % 4);
    // Of a face A, B, C the mid nodes on AB, BC and CA, in this order.
    unsigned char const* corners = _Descriptor::descr_triangle_point_ORIENTED[face];
    unsigned char const* mids = _Descriptor::descr_tet10_midpoints[face];
    auto const node = [this](unsigned int n) { return _Vector(GetNode(n)); };
    if (part == 3)
        return {node(mids[0]), node(mids[1]), node(mids[2])};
    return {node(corners[part]), node(mids[part]), node(mids[(part + 2) % 3])};
}

// ---------------------------------------------------------------- mid nodes

template <typename T>
void Tetrahedron10Base<T>::ShrinkMidEdges(double factor) {
    if (!IsTrueQuadratic() || factor == 1.0)
        return;
    _TenNodes const nodes = _Nodes();
    for (unsigned int m = 0; m < 6; ++m) {
        _Vector const middle = _Middle(nodes, m);
        SetMidVertex(m, _Rounded<T>(middle + factor * (nodes[first_mid_node + m] - middle)));
    }
}

template <typename T>
bool Tetrahedron10Base<T>::CheckMidVertices(double percent) {
    if (!IsTrueQuadratic())
        return true;
    _TenNodes const nodes = _Nodes();
    for (unsigned int m = 0; m < 6; ++m) {
        _Edge const edge = _EdgeOf(nodes, m);
        if (!(100.0 * edge.deviation / edge.length < percent))
            return false;
    }
    return true;
}

template <typename T>
bool Tetrahedron10Base<T>::CheckMidFaces(double percent) {
    if (!IsTrueQuadratic())
        return true;
    _TenNodes const nodes = _Nodes();
    _Edge edges[6];
    for (unsigned int m = 0; m < 6; ++m)
        edges[m] = _EdgeOf(nodes, m);
    for (auto const& face : _Descriptor::descr_tet10_midpoints) {
        _Edge const& a = edges[face[0] - first_mid_node];
        _Edge const& b = edges[face[1] - first_mid_node];
        _Edge const& c = edges[face[2] - first_mid_node];
        double const deviation = std::max({a.deviation, b.deviation, c.deviation});
        double const size = (a.length + b.length + c.length) / 3.0;
        if (!(100.0 * deviation / size < percent))
            return false;
    }
    return true;
}

template <typename T>
double Tetrahedron10Base<T>::MaxMidVertexDeviation(bool absolute) {
    double largest = 0.0;
    if (!IsTrueQuadratic())
        return largest;
    _TenNodes const nodes = _Nodes();
    for (unsigned int m = 0; m < 6; ++m) {
        _Edge const edge = _EdgeOf(nodes, m);
        double const deviation = absolute ? edge.deviation : edge.deviation / edge.length;
        largest = largest < deviation ? deviation : largest;
    }
    return largest;
}

// ---------------------------------------------------------------- Jacobian

template <typename T>
void Tetrahedron10Base<T>::_ComputeJacobian(double l0, double l1, double l2, double l3, _Vector& g0,
                                            _Vector& g1, _Vector& g2, _Vector& g3) {
    auto const x = [this](unsigned int i) { return _Vector(GetNode(i)); };
    g0 = (4.0 * l0 - 1.0) * x(0) + 4.0 * l1 * x(4) + 4.0 * l2 * x(6) + 4.0 * l3 * x(7);
    g1 = (4.0 * l1 - 1.0) * x(1) + 4.0 * l0 * x(4) + 4.0 * l2 * x(5) + 4.0 * l3 * x(8);
    g2 = (4.0 * l2 - 1.0) * x(2) + 4.0 * l0 * x(6) + 4.0 * l1 * x(5) + 4.0 * l3 * x(9);
    g3 = (4.0 * l3 - 1.0) * x(3) + 4.0 * l0 * x(7) + 4.0 * l1 * x(8) + 4.0 * l2 * x(9);
}

// Multiplied out as QualityJacobian is, so that straight-sided elements have the same value by both.
template <typename T>
double Tetrahedron10Base<T>::_ComputeDeterminant(_Vector& g0, _Vector& g1, _Vector& g2, _Vector& g3) {
    return (g3 - g0).Dot((g1 - g0).Cross(g2 - g0));
}

// The determinants at the sample points, in their order.
template <typename T>
std::array<double, 11> Tetrahedron10Base<T>::_Determinants() {
    std::array<double, 11> determinants;
    for (std::size_t i = 0; i < determinants.size(); ++i) {
        double const(&l)[4] = sample_points[i];
        _Vector g0, g1, g2, g3;
        _ComputeJacobian(l[0], l[1], l[2], l[3], g0, g1, g2, g3);
        determinants[i] = _ComputeDeterminant(g0, g1, g2, g3);
    }
    return determinants;
}

template <typename T>
double Tetrahedron10Base<T>::JacobianRatio() {
    if (!IsTrueQuadratic())
        return 1.0;
    std::array<double, 11> const determinants = _Determinants();
    double const largest = *std::max_element(determinants.begin(), determinants.end());
    double const smallest = *std::min_element(determinants.begin(), determinants.end());
    double const ratio = largest / smallest;
    return ratio < 0.0 || this->QualityJacobian() * largest < 0.0 ? folded : ratio;
}

template <typename T>
double Tetrahedron10Base<T>::MinJacobianDeterminant() {
    if (!IsTrueQuadratic())
        return this->QualityJacobian();
    std::array<double, 11> const determinants = _Determinants();
    return *std::min_element(determinants.begin(), determinants.end());
}

template <typename T>
double Tetrahedron10Base<T>::QualityJacobianDistortion() {
    double rows[m_nb_vertices][3];
    this->_ConvertToVerdictPoints(rows, static_cast<int>(m_nb_vertices));
    return VerdictTetDistortion(static_cast<int>(m_nb_vertices), rows);
}

template class Tetrahedron10Base<MLong>;
template class Tetrahedron10Base<float>;
template class Tetrahedron10Base<double>;
