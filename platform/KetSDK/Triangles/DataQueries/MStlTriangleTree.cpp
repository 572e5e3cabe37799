// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Triangles/DataQueries/MStlTriangleTree.h>

#include <KetSDK/Triangles/Data/MStlBase.h>

#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>
#include <boost/iterator/function_output_iterator.hpp>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace {

using Point = MStlTriangleTree::Point;
using TreePoint = boost::geometry::model::point<double, 3, boost::geometry::cs::cartesian>;
using TreeBox = boost::geometry::model::box<TreePoint>;
using TreeEntry = std::pair<TreeBox, std::uint32_t>;

TreeBox BoxOf(MTriangle<double, 3> const& t) {
    auto const corner = [&t](auto const& pick) {
        auto const along = [&](std::size_t axis) { return pick({t[0][axis], t[1][axis], t[2][axis]}); };
        return TreePoint(along(0), along(1), along(2));
    };
    using Values = std::initializer_list<double>;
    return {corner([](Values values) { return std::min(values); }),
            corner([](Values values) { return std::max(values); })};
}

TreeBox BoxAround(Point const& p, double distance) {
    // A little wider, so that rounding leaves out no triangle at just this distance.
    double const size = std::max({std::abs(p[0]), std::abs(p[1]), std::abs(p[2]), distance});
    double const half = distance + 1e-14 * size;
    return {TreePoint(p[0] - half, p[1] - half, p[2] - half),
            TreePoint(p[0] + half, p[1] + half, p[2] + half)};
}

bool IsFinite(Point const& p) {
    return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
}

Point ClosestPointOnSegment(Point const& a, Point const& b, Point const& p) {
    Point const along = b - a;
    double const length = along.Dot(along);
    double const t = length > 0.0 ? (p - a).Dot(along) / length : 0.0;
    // The ends themselves, without rounding.
    return t <= 0.0 ? a : t >= 1.0 ? b : a + t * along;
}

} // namespace

struct MStlTriangleTree::Tree {
    // Built from all entries at once, which packs them.
    boost::geometry::index::rtree<TreeEntry, boost::geometry::index::quadratic<16>> entries;
};

MStlTriangleTree::MStlTriangleTree(MStlBase const& stl)
    : MStlTriangleTree(stl, std::vector<bool>(static_cast<std::size_t>(stl.NumberOfTriangles()), false)) {}

MStlTriangleTree::MStlTriangleTree(MStlBase const& stl, std::vector<bool> const& left_out)
    : m_stl(stl) {
    m_positions.reserve(static_cast<std::size_t>(stl.NumberOfTriangles()));
    std::vector<TreeEntry> entries;
    entries.reserve(m_positions.capacity());
    for (MStlTriangle const& triangle : stl.Triangles()) {
        std::size_t const number = m_positions.size();
        m_positions.push_back(triangle.GetPositions());
        if (!left_out[number])
            entries.emplace_back(BoxOf(m_positions.back()), static_cast<std::uint32_t>(number));
    }
    m_tree.reset(new Tree{decltype(Tree::entries)(entries)});
}

MStlTriangleTree::~MStlTriangleTree() = default;

MStlTriangleTree::Hit MStlTriangleTree::FindNearest(Point const& p, double max_distance) const {
    Hit nearest;
    if (!IsFinite(p))
        return nearest;
    // The triangle whose box is nearest bounds the distance; the nearest one may have another box.
    auto const nearest_box = boost::geometry::index::nearest(TreePoint(p[0], p[1], p[2]), 1);
    m_tree->entries.query(nearest_box, boost::make_function_output_iterator([&](TreeEntry const& entry) {
                              max_distance = std::min(max_distance, HitOf(entry.second, p).distance);
                          }));
    ForEachWithin(p, max_distance, [&nearest](Hit const& hit) {
        if (std::pair(hit.distance, hit.number) < std::pair(nearest.distance, nearest.number))
            nearest = hit;
    });
    return nearest;
}

void MStlTriangleTree::FindWithin(Point const& p, double distance, std::vector<Hit>& hits) const {
    hits.clear();
    if (!IsFinite(p))
        return;
    ForEachWithin(p, distance, [&hits](Hit const& hit) { hits.push_back(hit); });
    std::ranges::sort(hits, {}, &Hit::number);
}

template <typename Visit>
void MStlTriangleTree::ForEachWithin(Point const& p, double distance, Visit const& visit) const {
    auto const in_box = boost::geometry::index::intersects(BoxAround(p, distance));
    m_tree->entries.query(in_box, boost::make_function_output_iterator([&](TreeEntry const& entry) {
                              if (Hit const hit = HitOf(entry.second, p); hit.distance <= distance)
                                  visit(hit);
                          }));
}

MStlTriangleTree::Hit MStlTriangleTree::HitOf(std::uint32_t number, Point const& p) const noexcept {
    Hit hit;
    hit.triangle = m_stl.GetTriangle(number);
    hit.number = number;
    hit.point = ClosestPoint(m_positions[number], p);
    hit.distance = (hit.point - p).Length();
    return hit;
}

Point MStlTriangleTree::ClosestPoint(MTriangle<double, 3> const& t, Point const& p) noexcept {
    Point const normal = (t[1] - t[0]).Cross(t[2] - t[0]);
    double const square = normal.Dot(normal);
    bool above = square > 0.0; // whether p lies above the triangle, seen along its normal
    for (std::size_t i = 0; above && i < 3; ++i)
        above = (t[(i + 1) % 3] - t[i]).Cross(p - t[i]).Dot(normal) >= 0.0;
    if (above)
        return p - (normal.Dot(p - t[0]) / square) * normal;
    Point closest = ClosestPointOnSegment(t[0], t[1], p);
    for (std::size_t i = 1; i < 3; ++i) {
        Point const other = ClosestPointOnSegment(t[i], t[(i + 1) % 3], p);
        if ((other - p).SquaredLength() < (closest - p).SquaredLength())
            closest = other;
    }
    return closest;
}
