// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperExact.h>

#include <KetSDK/Mesh/correspondence/detail/CornerSort.h>
#include <KetSDK/Mesh/correspondence/detail/SurfaceMatcher.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>

using namespace KetSDK::Mesh::Detail;
using KetSDK::Support::Values;

namespace {

// Triangles by the indices of their corner points, the first point at each position standing for all.
class ExactMatcher : public SurfaceMatcher {
public:
    ExactMatcher(MStlBase const& stl, MMeshBase const& mesh, MappingLoop const& loop)
        : m_stl(stl)
        , m_mesh(mesh)
        , m_triangles(static_cast<std::size_t>(stl.NumberOfTriangles())) {
        Values<MLong> const points = FirstPoints(loop);
        loop(m_triangles.size(), 4096, [&](std::size_t first, std::size_t last) {
            for (std::size_t i = first; i < last; ++i)
                m_triangles[i] = RecordOf(static_cast<std::uint32_t>(i), points);
        });
        m_ends = SortByCorners(m_triangles, points.size(), loop);
    }

    std::vector<char> FindNearNodes(MappingLoop const& loop) override {
        m_point_of.resize(static_cast<std::size_t>(m_mesh.NumberOfPoints()));
        std::vector<char> near(m_point_of.size());
        auto const node_at = [this](std::size_t i) -> MMeshPoint const& { return *m_mesh.GetRandomPoint(i); };
        loop(near.size(), 1024, [&](std::size_t first, std::size_t last) {
            ForEachPoint(first, last, node_at, [&](std::size_t i, MStlPoint const* point) {
                m_point_of[i] = point ? point->GetIndex() : None;
                near[i] = point != nullptr;
            });
        });
        return near;
    }

    std::vector<FaceMatch> FindMatches(std::span<SurfaceFace const> faces,
                                       MappingLoop const& loop) const override {
        std::vector<FaceMatch> matches(faces.size());
        loop(faces.size(), 512, [&](std::size_t first, std::size_t last) {
            for (std::size_t i = first; i < last; ++i)
                matches[i] = Match(faces[i]);
        });
        return matches;
    }

private:
    static constexpr MLong None = -1;

    using Points = std::array<MLong, 3>;
    // A triangle.
    struct Record {
        Points corners;       // ascending
        std::uint32_t number; // of the triangle
        bool even;            // whether it winds by ascending indices
        auto operator<=>(Record const&) const = default;
    };

    // The same point stands for all at its position, by index.
    Values<MLong> FirstPoints(MappingLoop const& loop) const {
        Values<MLong> first_points(static_cast<std::size_t>(m_stl.NumberOfPoints()));
        struct Position {
            MLong x, y, z;
        };
        auto const position_at = [this](std::size_t i) {
            MStlPoint const& p = *m_stl.GetPoint(i);
            return Position{p.GetX(), p.GetY(), p.GetZ()};
        };
        m_stl.FindPoint(0, 0, 0); // several threads may ask after a first one has
        loop(first_points.size(), 1024, [&](std::size_t first, std::size_t last) {
            ForEachPoint(first, last, position_at,
                         [&](std::size_t i, MStlPoint const* point) { first_points[i] = point->GetIndex(); });
        });
        return first_points;
    }

    // Calls use(i, point of the surface at position_at(i) or null), fetching ahead.
    template <typename PositionAt, typename Use>
    void ForEachPoint(std::size_t first, std::size_t last, PositionAt const& position_at,
                      Use const& use) const {
        constexpr std::size_t ahead = 8;
        for (std::size_t i = first; i < last; ++i) {
            if (auto const& p = position_at(std::min(i + 2 * ahead, last - 1)); true)
                m_stl.PrefetchPoint(p.x, p.y, p.z);
            if (auto const& p = position_at(std::min(i + ahead, last - 1)); true)
                m_stl.PrefetchFoundPoint(p.x, p.y, p.z);
            auto const& p = position_at(i);
            use(i, m_stl.FindPoint(p.x, p.y, p.z));
        }
    }

    Record RecordOf(std::uint32_t number, Values<MLong> const& points) const {
        MStlTriangle const& t = *m_stl.GetTriangle(number);
        Record record{{}, number, true};
        for (std::size_t i = 0; i < 3; ++i)
            record.corners[i] = points[static_cast<std::size_t>(t.GetPoint(i)->GetIndex())];
        record.even = Sort(record.corners);
        return record;
    }

    // Whether the points wind afterwards as before.
    static bool Sort(Points& points) noexcept {
        bool even = true;
        auto const order = [&](std::size_t a, std::size_t b) {
            if (points[a] > points[b]) {
                std::swap(points[a], points[b]);
                even = !even;
            }
        };
        order(0, 1);
        order(1, 2);
        order(0, 1);
        return even;
    }

    // Comparing the arrays would call a function.
    static bool IsSame(Points const& p, Points const& q) noexcept {
        return p[0] == q[0] && p[1] == q[1] && p[2] == q[2];
    }

    FaceMatch Match(SurfaceFace const& face) const {
        Points points;
        for (std::size_t i = 0; i < 3; ++i)
            points[i] = m_point_of[static_cast<std::size_t>(face.nodes[i])];
        bool const even = Sort(points);
        auto const lowest = static_cast<std::size_t>(points[0]);
        FaceMatch match;
        // By ascending numbers: the first one counts.
        for (std::size_t i = m_ends[lowest]; i-- > (lowest > 0 ? m_ends[lowest - 1] : 0);)
            if (IsSame(m_triangles[i].corners, points))
                (m_triangles[i].even == even ? match.same : match.opposite) = m_triangles[i].number;
        return match;
    }

    MStlBase const& m_stl;
    MMeshBase const& m_mesh;
    Values<Record> m_triangles;
    Values<std::size_t> m_ends; // where those of each lowest corner end
    Values<MLong> m_point_of;   // by node: the point at its position, or None
};

} // namespace

MMeshCorrespondenceMapperExact::~MMeshCorrespondenceMapperExact() = default;

std::unique_ptr<SurfaceMatcher> MMeshCorrespondenceMapperExact::MakeMatcher(MStlBase& stl,
                                                                            MMeshBase const& mesh,
                                                                            MappingLoop const& loop) const {
    return std::make_unique<ExactMatcher>(stl, mesh, loop);
}
