// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>

#include <KetSDK/Mesh/correspondence/detail/SurfaceMatcher.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/DataQueries/MStlTriangleTree.h>

#include <algorithm>
#include <cmath>
#include <optional>

using namespace KetSDK::Mesh::Detail;

namespace {

using Triangle = MTriangle<double, 3>;
using Point = MStlTriangleTree::Point;
using Hits = std::vector<MStlTriangleTree::Hit>;

constexpr double Unmatched = std::numeric_limits<double>::infinity();
constexpr double LeastCosine = 0.5; // of PlaneAngle
static_assert(MMeshCorrespondenceMapperProjection::PlaneAngle == 60.0);
// Two triangles whose costs differ by less lie on a face back to back.
constexpr double BackToBack = 1e-3;

// A triangle for a face, and how far they are from being the same.
struct Claim {
    std::uint32_t triangle = FaceMatch::None;
    double cost = Unmatched;

    // Hits come by ascending number, so the first of equals stays.
    void Offer(std::uint64_t number, double other_cost) {
        if (other_cost < cost)
            *this = {static_cast<std::uint32_t>(number), other_cost};
    }
};
// For the triangles that wind as the face does, and for the others.
struct Claims {
    Claim same;
    Claim opposite;
};

// The largest distance between corners, for triangles of the same and of the opposite winding, each
// turned as it fits best.
struct CornerDistances {
    double same = Unmatched;
    double opposite = Unmatched;

    CornerDistances(Triangle const& a, Triangle const& b) {
        double distance[3][3];
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t k = 0; k < 3; ++k)
                distance[i][k] = (a[i] - b[k]).Length();
        for (std::size_t turn = 0; turn < 3; ++turn) {
            auto const largest = [&](std::size_t second, std::size_t third) {
                return std::max(
                    {distance[0][turn], distance[1][(turn + second) % 3], distance[2][(turn + third) % 3]});
            };
            same = std::min(same, largest(1, 2));
            opposite = std::min(opposite, largest(2, 1));
        }
    }
};

// Costs and radii are compared with that much to spare for rounding.
constexpr double Spare = 1.0 - 1e-9;

class ProjectionMatcher : public SurfaceMatcher {
public:
    ProjectionMatcher(MStlBase const& stl, MMeshBase const& mesh, double tolerance, bool parallel)
        : m_stl(stl)
        , m_mesh(mesh)
        , m_tree(stl, parallel)
        , m_tolerance(tolerance)
        , m_first_radius(FirstRadius()) {}

    std::vector<char> FindNearNodes(MappingLoop const& loop) override {
        std::vector<char> near(static_cast<std::size_t>(m_mesh.NumberOfPoints()));
        ForEach(near.size(), 1024, loop,
                [&](std::size_t i, Hits& hits) { near[i] = IsNear(*m_mesh.GetRandomPoint(i), hits); });
        return near;
    }

    std::vector<FaceMatch> FindMatches(std::span<SurfaceFace const> faces,
                                       MappingLoop const& loop) const override {
        std::vector<Claims> claims(faces.size());
        ForEach(faces.size(), 256, loop, [&](std::size_t i, Hits& hits) {
            claims[i] = ClaimByCorners(m_tree, PositionsOf(faces[i]), m_first_radius, hits);
        });
        if (IsWide())
            ClaimFarther(faces, claims, loop);
        std::vector<double> const taken = LeastCosts(claims);
        std::optional<MStlTriangleTree> free; // the triangles that are left to faces between elements
        if (IsWide())
            free.emplace(m_stl, AreTaken(taken), loop.IsParallel());
        std::vector<FaceMatch> matches(faces.size());
        ForEach(faces.size(), 256, loop, [&](std::size_t i, Hits& hits) {
            matches[i] = Granted(claims[i], taken);
            if (matches[i].IsEmpty())
                matches[i] = MatchByPlane(free && !faces[i].exterior ? *free : m_tree, faces[i], taken, hits);
        });
        return matches;
    }

private:
    // Calls work(i, hits) for each number below a count, in steps of the loop, with memory for what is found.
    template <typename Work>
    void ForEach(std::size_t count, std::size_t step, MappingLoop const& loop, Work const& work) const {
        loop(count, step, [&](std::size_t first, std::size_t last) {
            m_hits.With([&](Hits& hits) {
                for (std::size_t i = first; i < last; ++i)
                    work(i, hits);
            });
        });
    }

    bool IsNear(MMeshPoint const& node, Hits& hits) const {
        bool found = false;
        Widen(m_tree, node.GetPosition(), m_first_radius, hits, [&](double) {
            found = !hits.empty();
            return found;
        });
        return found;
    }

    Triangle PositionsOf(SurfaceFace const& face) const {
        auto const position = [&](std::size_t i) {
            return m_mesh.GetRandomPoint(static_cast<std::uint64_t>(face.nodes[i]))->GetPosition();
        };
        return {position(0), position(1), position(2)};
    }

    static Point CentroidOf(Triangle const& face) { return (face[0] + face[1] + face[2]) / 3.0; }

    // About two triangles wide, or the tolerance where that is less.
    double FirstRadius() const {
        double area = 0.0;
        for (std::size_t i = 0; i < m_tree.NumberOfTriangles(); ++i)
            area += m_tree.GetPositions(i).Area();
        double const size = std::sqrt(area / static_cast<double>(m_tree.NumberOfTriangles()));
        double const first = std::min(std::max(2.0 * size, m_tolerance / 4096.0), m_tolerance);
        return first > 0.0 ? first : m_tolerance;
    }
    // Whether the tolerance reaches so many triangles that they are looked at in rings, the nearest first.
    bool IsWide() const noexcept { return m_first_radius < m_tolerance; }

    // Finds what a tree has around a point, from the first radius to the tolerance, twice as far each time,
    // until look(radius) is true.
    template <typename Look>
    void Widen(MStlTriangleTree const& tree, Point const& centre, double radius, Hits& hits,
               Look const& look) const {
        for (;; radius = std::min(2.0 * radius, m_tolerance)) {
            tree.FindWithin(centre, radius, hits);
            if (look(radius) || !(radius < m_tolerance))
                return;
        }
    }

    void OfferByCorners(Triangle const& corners, Hits const& hits, Claims& claims) const {
        for (MStlTriangleTree::Hit const& hit : hits) {
            CornerDistances const distances(corners, m_tree.GetPositions(hit.number));
            double const least = std::min(distances.same, distances.opposite);
            if (least <= m_tolerance)
                (distances.same <= distances.opposite ? claims.same : claims.opposite)
                    .Offer(hit.number, least);
        }
    }

    // The claims of a face to what a tree has within a radius of its centroid.
    Claims ClaimByCorners(MStlTriangleTree const& tree, Triangle const& corners, double radius,
                          Hits& hits) const {
        tree.FindWithin(CentroidOf(corners), radius, hits);
        Claims claims;
        OfferByCorners(corners, hits, claims);
        return claims;
    }

    // Claims within the first radius are final when they cost no more than that, because no corners lie
    // nearer than centroids do. All others can be granted only for triangles without a final claim: they are
    // few, mostly none, and are looked for far away.
    void ClaimFarther(std::span<SurfaceFace const> faces, std::vector<Claims>& claims,
                      MappingLoop const& loop) const {
        for (Claims& both : claims)
            for (Claim* const claim : {&both.same, &both.opposite})
                if (claim->cost > m_first_radius * Spare)
                    *claim = {};
        std::vector<bool> const taken = AreTaken(LeastCosts(claims));
        if (std::ranges::find(taken, false) == taken.end())
            return;
        MStlTriangleTree const free(m_stl, taken, loop.IsParallel());
        ForEach(faces.size(), 64, loop, [&](std::size_t i, Hits& hits) {
            ClaimFarther(free, PositionsOf(faces[i]), claims[i], hits);
        });
    }

    void ClaimFarther(MStlTriangleTree const& free, Triangle const& corners, Claims& claims,
                      Hits& hits) const {
        bool const needs_same = claims.same.cost == Unmatched;
        bool const needs_opposite = claims.opposite.cost == Unmatched;
        if (!needs_same && !needs_opposite)
            return;
        Claims far;
        Widen(free, CentroidOf(corners), m_first_radius, hits, [&](double radius) {
            far = {};
            OfferByCorners(corners, hits, far);
            return (!needs_same || far.same.cost <= radius * Spare) &&
                   (!needs_opposite || far.opposite.cost <= radius * Spare);
        });
        bool const has_same = needs_same && far.same.cost != Unmatched;
        bool const has_opposite = needs_opposite && far.opposite.cost != Unmatched;
        if (!has_same && !has_opposite)
            return;
        // They stand when no other triangle is nearer.
        double const cost = std::max(has_same ? far.same.cost : 0.0, has_opposite ? far.opposite.cost : 0.0);
        Claims const all = ClaimByCorners(m_tree, corners, std::min(cost / Spare, m_tolerance), hits);
        if (has_same)
            claims.same = all.same;
        if (has_opposite)
            claims.opposite = all.opposite;
    }

    static std::vector<bool> AreTaken(std::vector<double> const& costs) {
        std::vector<bool> taken;
        taken.reserve(costs.size());
        for (double const cost : costs)
            taken.push_back(cost != Unmatched);
        return taken;
    }

    // What the best claim to each triangle costs.
    std::vector<double> LeastCosts(std::vector<Claims> const& claims) const {
        std::vector<double> least(m_tree.NumberOfTriangles(), Unmatched);
        for (Claims const& both : claims)
            for (Claim const& claim : {both.same, both.opposite})
                if (claim.triangle != FaceMatch::None)
                    least[claim.triangle] = std::min(least[claim.triangle], claim.cost);
        return least;
    }

    // The claims that are as good as any. Faces of parts that are not joined can lie at one position: all of
    // them have the triangle.
    static FaceMatch Granted(Claims const& claims, std::vector<double> const& taken) {
        auto const granted = [&taken](Claim const& claim) {
            bool const best = claim.triangle != FaceMatch::None && claim.cost <= taken[claim.triangle];
            return best ? claim.triangle : FaceMatch::None;
        };
        return {granted(claims.same), granted(claims.opposite)};
    }

    // Only what the tree has counts.
    FaceMatch MatchByPlane(MStlTriangleTree const& tree, SurfaceFace const& face,
                           std::vector<double> const& taken, Hits& hits) const {
        Triangle const corners = PositionsOf(face);
        Point const normal = corners.Normal();
        Claim same;
        Claim opposite;
        auto const offer = [&](MStlTriangleTree::Hit const& hit) {
            if (!face.exterior && taken[hit.number] != Unmatched)
                return;
            double const cosine = normal.Dot(m_tree.GetPositions(hit.number).Normal());
            if (std::abs(cosine) < LeastCosine)
                return;
            double const away = m_tolerance > 0.0 ? hit.distance / m_tolerance : 0.0;
            (cosine > 0.0 ? same : opposite)
                .Offer(hit.number, away + (1.0 - std::abs(cosine)) / (1.0 - LeastCosine));
        };
        Widen(tree, CentroidOf(corners), m_first_radius, hits, [&](double radius) {
            same = opposite = {};
            std::ranges::for_each(hits, offer);
            // What lies farther away costs more than one that counts.
            return radius / m_tolerance > std::min(same.cost, opposite.cost) + BackToBack;
        });
        FaceMatch match;
        if (same.cost <= opposite.cost + BackToBack)
            match.same = same.triangle;
        if (opposite.cost <= same.cost + BackToBack)
            match.opposite = opposite.triangle;
        return match;
    }

    MStlBase const& m_stl;
    MMeshBase const& m_mesh;
    MStlTriangleTree m_tree;
    double m_tolerance;
    double m_first_radius;
    mutable KetSDK::Support::Pool<Hits> m_hits;
};

} // namespace

MMeshCorrespondenceMapperProjection::~MMeshCorrespondenceMapperProjection() = default;

std::unique_ptr<SurfaceMatcher>
MMeshCorrespondenceMapperProjection::MakeMatcher(MStlBase& stl, MMeshBase const& mesh,
                                                 MappingLoop const& loop) const {
    return std::make_unique<ProjectionMatcher>(stl, mesh, m_tolerance, loop.IsParallel());
}
