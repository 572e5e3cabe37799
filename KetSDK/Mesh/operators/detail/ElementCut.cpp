// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/detail/ElementCut.h>

#include <KetSDK/Math/MathCore/MMatrix3x3.h>
#include <KetSDK/Mesh/operators/detail/ElementFaces.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <iterator>
#include <utility>

namespace KetSDK::Mesh::Detail {

namespace {

__extension__ using Wide = __int128; // determinants of differences of 32-bit coordinates take 102 bits

using Position = MMVector<MLong, 3>;
using Vector = MMVector<double, 3>;

Position PositionOfCorner(MMeshPoint const& p) noexcept {
    return {p.x, p.y, p.z};
}

// Six times the volume, positive for a tetrahedron wound like an element; in cubic internal units.
Wide Determinant(Position const& o, Position const& p, Position const& q, Position const& r) noexcept {
    auto const along = [&o](Position const& to, std::size_t axis) {
        return std::int64_t{to[axis]} - std::int64_t{o[axis]};
    };
    auto const minor = [&](std::size_t i, std::size_t j) {
        return Wide{along(q, i)} * along(r, j) - Wide{along(q, j)} * along(r, i);
    };
    return along(p, 0) * minor(1, 2) + along(p, 1) * minor(2, 0) + along(p, 2) * minor(0, 1);
}

// The corners of a face in the same order, from the one on where the projection is smallest.
template <std::size_t N, typename Project = std::identity>
std::array<unsigned char, N> SmallestFirst(std::array<unsigned char, N> const& corners,
                                           Project const& project = {}) {
    auto const least =
        static_cast<std::size_t>(std::ranges::min_element(corners, {}, project) - corners.begin());
    std::array<unsigned char, N> rotated{};
    for (std::size_t i = 0; i < N; ++i)
        rotated[i] = corners[(least + i) % N];
    return rotated;
}

template <typename T>
T Reversed(T const& triangle) {
    return SmallestFirst(T{triangle[0], triangle[2], triangle[1]});
}

// Adds a triangle, unless it closes the other side of one that is there: then both go.
template <typename Triangles, typename T>
void AddOrCancel(Triangles& triangles, T const& triangle) {
    if (auto const back = std::ranges::find(triangles, Reversed(triangle)); back != triangles.end())
        triangles.erase(back);
    else
        triangles.push_back(SmallestFirst(triangle));
}

// The faces of a tetrahedron that has `apex` before a triangle winding outwards, but for that triangle.
template <typename T>
std::array<T, 3> SidesOf(unsigned char apex, T const& triangle) noexcept {
    auto const [a, b, c] = triangle;
    return {T{apex, b, a}, T{apex, c, b}, T{apex, a, c}};
}

// A plane of a face, in internal units: how far inside it a point lies.
struct Plane {
    Vector inward;
    Vector on;

    double DepthOf(Vector const& p) const noexcept { return inward.Dot(p - on); }
};

// The point that lies deepest inside all planes, as the vertex of a linear program, found by trying each:
// there are at most twelve planes.
template <typename Planes>
std::optional<Vector> DeepestInside(Planes const& planes) {
    std::optional<Vector> best;
    double most = 0.0;
    auto const try_vertex = [&](std::array<std::size_t, 4> const& at) {
        // The same depth inside four planes.
        Plane const& first = planes[at[0]];
        std::array<Vector, 3> rows;
        Vector right, p;
        for (std::size_t i = 0; i < 3; ++i) {
            Plane const& plane = planes[at[i + 1]];
            rows[i] = plane.inward - first.inward;
            right[i] = plane.inward.Dot(plane.on - first.on);
        }
        if (!MMatrix3x3(rows[0], rows[1], rows[2]).Solve(right, p))
            return;
        p += first.on;
        double depth = first.DepthOf(p);
        for (Plane const& plane : planes)
            depth = std::min(depth, plane.DepthOf(p));
        if (depth > most) {
            most = depth;
            best = p;
        }
    };
    for (std::size_t a = 0; a < planes.size(); ++a)
        for (std::size_t b = a + 1; b < planes.size(); ++b)
            for (std::size_t c = b + 1; c < planes.size(); ++c)
                for (std::size_t d = c + 1; d < planes.size(); ++d)
                    try_vertex({a, b, c, d});
    return best;
}

} // namespace

// Fills the inside of a boundary with positive tetrahedra on its corners, one after the other against what is
// open yet, and takes back what leads nowhere.
class ElementToCut::Search {
public:
    explicit Search(ElementToCut const& element)
        : m_element(element) {}

    bool Fill(Triangles const& open) {
        if (open.empty())
            return true;
        if (m_tetrahedra.size() == m_tetrahedra.capacity())
            return false;
        for (unsigned char const apex : m_element.m_corners) {
            auto const [a, b, c] = open.front();
            ElementCut::Tetrahedron const t{apex, a, b, c};
            if (m_tries == 0 || std::ranges::count(open.front(), apex) > 0)
                continue;
            --m_tries;
            std::optional<Triangles> const rest = m_element.IsGood(t) ? Without(open, t) : std::nullopt;
            if (!rest)
                continue;
            m_tetrahedra.push_back(t);
            if (Fill(*rest))
                return true;
            m_tetrahedra.pop_back();
        }
        return false;
    }

    auto const& GetTetrahedra() const noexcept { return m_tetrahedra; }

private:
    // What is open when a tetrahedron stands before the first open triangle; nothing where two meet.
    static std::optional<Triangles> Without(Triangles const& open, ElementCut::Tetrahedron const& t) {
        Triangles rest(open.begin() + 1, open.end());
        for (Triangle const& side : SidesOf(t[0], Triangle{t[1], t[2], t[3]}))
            if (auto const closed = std::ranges::find(rest, SmallestFirst(side)); closed != rest.end())
                rest.erase(closed);
            else if (Triangle const opened = Reversed(side); std::ranges::count(rest, opened) > 0)
                return std::nullopt;
            else
                rest.push_back(opened);
        return rest;
    }

    ElementToCut const& m_element;
    boost::container::static_vector<ElementCut::Tetrahedron, 9> m_tetrahedra;
    int m_tries = 5000; // of tangled elements there may be many
};

ElementToCut::ElementToCut(MMeshElement const& e, Numbers const& numbers)
    : m_element(e)
    , m_numbers(numbers) {
    auto const n = static_cast<unsigned char>(std::min<unsigned int>(e.GetNodeCount(), 8));
    std::array<unsigned char, 8> first{}; // corner with the same number
    for (unsigned char i = 0; i < n; ++i) {
        first[i] = static_cast<unsigned char>(std::ranges::find(numbers, numbers[i]) - numbers.begin());
        if (first[i] == i)
            m_corners.push_back(i);
    }
    std::ranges::sort(m_corners, {}, [&numbers](unsigned char i) { return numbers[i]; });
    for (ElementFace const& face : FacesOfElement(n)) {
        std::array<unsigned char, 4> corners{};
        unsigned int count = 0;
        for (unsigned int i = 0; i < face.corners; ++i)
            if (unsigned char const corner = first[face.node[i]];
                count == 0 ||
                (corner != corners[count - 1] && (i + 1 < face.corners || corner != corners[0])))
                corners[count++] = corner;
        if (count >= 3)
            AddFace(corners, count);
    }
}

void ElementToCut::AddFace(std::array<unsigned char, 4> const& face, unsigned int corners) {
    if (corners == 3) {
        AddOrCancel(m_fixed, Triangle{face[0], face[1], face[2]});
        return;
    }
    if (face[0] == face[2] || face[1] == face[3]) // folded onto itself
        return;
    auto const number = [this](unsigned char corner) { return m_numbers[corner]; };
    Face added{.key = {}, .diagonal = {}, .other = {}, .corners = SmallestFirst(face, number)};
    std::ranges::transform(added.corners, added.key.begin(), number);
    added.diagonal = {added.key[0], added.key[2]};
    added.other = {std::min(added.key[1], added.key[3]), std::max(added.key[1], added.key[3])};
    std::ranges::sort(added.key);
    m_faces.push_back(added);
}

std::vector<ElementToCut::Edge> ElementToCut::GetEdgesOfTriangles() const {
    std::vector<Edge> edges;
    for (auto const& [a, b, c] : m_fixed)
        for (auto const& [from, to] : {std::pair(a, b), std::pair(b, c), std::pair(c, a)})
            edges.push_back(
                {std::min(m_numbers[from], m_numbers[to]), std::max(m_numbers[from], m_numbers[to])});
    return edges;
}

ElementToCut::Triangles ElementToCut::Boundary() const {
    Triangles boundary(m_fixed.begin(), m_fixed.end());
    for (Face const& face : m_faces) {
        auto const [a, b, c, d] = face.corners;
        AddOrCancel(boundary, face.flipped ? Triangle{b, c, d} : Triangle{a, b, c});
        AddOrCancel(boundary, face.flipped ? Triangle{b, d, a} : Triangle{a, c, d});
    }
    return boundary;
}

bool ElementToCut::IsGood(ElementCut::Tetrahedron const& t) const {
    auto const at = [&](std::size_t i) { return PositionOfCorner(*m_element.GetNode(t[i])); };
    unsigned int const bits = 1U << t[0] | 1U << t[1] | 1U << t[2] | 1U << t[3];
    // Between the halves of a warped face there is no room for a tetrahedron that deserves the name.
    bool const is_flat = std::ranges::any_of(m_faces, [bits](Face const& face) {
        auto const [a, b, c, d] = face.corners;
        return (1U << a | 1U << b | 1U << c | 1U << d) == bits;
    });
    return !is_flat && Determinant(at(0), at(1), at(2), at(3)) > 0;
}

ElementCut ElementToCut::CutFromSmallest(Triangles const& boundary) const {
    ElementCut cut;
    unsigned char const apex = m_corners.front();
    Triangles opposite;
    std::ranges::copy_if(boundary, std::back_inserter(opposite),
                         [apex](Triangle const& t) { return std::ranges::count(t, apex) == 0; });
    // Three triangles round a corner, all of those that it has, are cut off with it.
    for (unsigned char const corner : m_corners) {
        auto const has = [corner](Triangle const& t) { return std::ranges::count(t, corner) > 0; };
        if (corner == apex || std::ranges::count_if(boundary, has) != 3 ||
            std::ranges::count_if(opposite, has) != 3)
            continue;
        Triangle const first = *std::ranges::find_if(opposite, has);
        auto const at = std::ranges::find(first, corner) - first.begin();
        auto const a = first[static_cast<std::size_t>((at + 1) % 3)];
        auto const b = first[static_cast<std::size_t>((at + 2) % 3)];
        // The third end of the edges from the corner.
        unsigned char c = a;
        for (Triangle const& t : opposite)
            for (unsigned char const other : t)
                if (has(t) && other != corner && other != a && other != b)
                    c = other;
        if (c == a)
            continue;
        opposite.erase(std::remove_if(opposite.begin(), opposite.end(), has), opposite.end());
        opposite.push_back(SmallestFirst(Triangle{a, b, c}));
        cut.tetrahedra.push_back({corner, a, c, b});
    }
    for (auto const& [a, b, c] : opposite)
        cut.tetrahedra.push_back({apex, a, b, c});
    cut.positive = std::ranges::all_of(cut.tetrahedra, [this](auto const& t) { return IsGood(t); });
    return cut;
}

ElementCut ElementToCut::CutFromInside(Triangles const& boundary) const {
    auto const at = [this](unsigned char corner) { return PositionOfCorner(*m_element.GetNode(corner)); };
    boost::container::static_vector<Plane, 12> planes;
    for (auto const& [a, b, c] : boundary) {
        Vector const on(at(a));
        Vector inward = (Vector(at(c)) - on).Cross(Vector(at(b)) - on);
        if (!inward.Normalize() || planes.size() == planes.capacity())
            return {};
        planes.push_back({inward, on});
    }
    std::optional<Vector> const deepest = DeepestInside(planes);
    if (!deepest)
        return {};
    ElementCut cut;
    Position const inside(static_cast<MLong>(std::lround((*deepest)[0])),
                          static_cast<MLong>(std::lround((*deepest)[1])),
                          static_cast<MLong>(std::lround((*deepest)[2])));
    cut.inside = inside;
    cut.positive = true;
    for (auto const& [a, b, c] : boundary) {
        cut.tetrahedra.push_back({ElementCut::Inside, a, b, c});
        cut.positive &= Determinant(inside, at(a), at(b), at(c)) > 0;
    }
    return cut;
}

ElementCut ElementToCut::Cut() const {
    Triangles boundary = Boundary();
    if (boundary.empty())
        return {
            .tetrahedra = {}, .inside = {}, .positive = true, .turned = false}; // collapsed: nothing is left
    Wide volume = 0;
    Position const origin = PositionOfCorner(*m_element.GetNode(m_corners.front()));
    auto const at = [this](unsigned char corner) { return PositionOfCorner(*m_element.GetNode(corner)); };
    for (auto const& [a, b, c] : boundary)
        volume += Determinant(origin, at(a), at(b), at(c));
    bool const inverted = volume < 0;
    if (inverted)
        std::ranges::transform(boundary, boundary.begin(), Reversed<Triangle>);
    ElementCut cut = CutFromSmallest(boundary);
    if (!cut.positive && volume != 0) {
        Search search(*this);
        if (search.Fill(boundary)) {
            cut.tetrahedra.assign(search.GetTetrahedra().begin(), search.GetTetrahedra().end());
            cut.positive = true;
        } else if (ElementCut inside = CutFromInside(boundary); inside.positive) {
            cut = std::move(inside);
        }
    }
    cut.turned = inverted;
    return cut;
}

} // namespace KetSDK::Mesh::Detail
