// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>

#include <KetSDK/Mesh/correspondence/detail/SurfaceMatcher.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/DataQueries/MStlTriangleTree.h>

#include <algorithm>
#include <cmath>

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

class ProjectionMatcher : public SurfaceMatcher {
public:
    ProjectionMatcher(MStlBase const& stl, double tolerance)
        : m_tree(stl)
        , m_tolerance(tolerance) {}

    bool IsNear(MMeshPoint const& node) const override {
        thread_local Hits hits;
        m_tree.FindWithin(node.GetPosition(), m_tolerance, hits);
        return !hits.empty();
    }

    std::vector<FaceMatch> FindMatches(std::span<SurfaceFace const> faces,
                                       MappingLoop const& loop) const override {
        std::vector<Claims> claims(faces.size());
        loop(faces.size(), 256, [&](std::size_t first, std::size_t last) {
            for (std::size_t i = first; i < last; ++i)
                claims[i] = ClaimByCorners(faces[i]);
        });
        std::vector<double> const taken = LeastCosts(claims);
        std::vector<FaceMatch> matches(faces.size());
        loop(faces.size(), 256, [&](std::size_t first, std::size_t last) {
            for (std::size_t i = first; i < last; ++i) {
                matches[i] = Granted(claims[i], taken);
                if (matches[i].IsEmpty())
                    matches[i] = MatchByPlane(faces[i], taken);
            }
        });
        return matches;
    }

private:
    static Triangle PositionsOf(SurfaceFace const& face) {
        return {face.corners[0]->GetPosition(), face.corners[1]->GetPosition(),
                face.corners[2]->GetPosition()};
    }

    // The triangles within the tolerance of the centroid.
    Hits const& Near(Triangle const& face) const {
        thread_local Hits hits;
        m_tree.FindWithin((face[0] + face[1] + face[2]) / 3.0, m_tolerance, hits);
        return hits;
    }

    Claims ClaimByCorners(SurfaceFace const& face) const {
        Triangle const corners = PositionsOf(face);
        Claims claims;
        for (MStlTriangleTree::Hit const& hit : Near(corners)) {
            CornerDistances const distances(corners, m_tree.GetPositions(hit.number));
            double const least = std::min(distances.same, distances.opposite);
            if (least <= m_tolerance)
                (distances.same <= distances.opposite ? claims.same : claims.opposite)
                    .Offer(hit.number, least);
        }
        return claims;
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

    // The claims that are as good as any. Faces of parts that are not joined can lie at one place: all of
    // them have the triangle.
    static FaceMatch Granted(Claims const& claims, std::vector<double> const& taken) {
        auto const granted = [&taken](Claim const& claim) {
            bool const best = claim.triangle != FaceMatch::None && claim.cost <= taken[claim.triangle];
            return best ? claim.triangle : FaceMatch::None;
        };
        return {granted(claims.same), granted(claims.opposite)};
    }

    FaceMatch MatchByPlane(SurfaceFace const& face, std::vector<double> const& taken) const {
        Triangle const corners = PositionsOf(face);
        Point const normal = corners.Normal();
        Claim same;
        Claim opposite;
        for (MStlTriangleTree::Hit const& hit : Near(corners)) {
            if (!face.exterior && taken[hit.number] != Unmatched)
                continue;
            double const cosine = normal.Dot(m_tree.GetPositions(hit.number).Normal());
            if (std::abs(cosine) < LeastCosine)
                continue;
            double const away = m_tolerance > 0.0 ? hit.distance / m_tolerance : 0.0;
            (cosine > 0.0 ? same : opposite)
                .Offer(hit.number, away + (1.0 - std::abs(cosine)) / (1.0 - LeastCosine));
        }
        FaceMatch match;
        if (same.cost <= opposite.cost + BackToBack)
            match.same = same.triangle;
        if (opposite.cost <= same.cost + BackToBack)
            match.opposite = opposite.triangle;
        return match;
    }

    MStlTriangleTree m_tree;
    double m_tolerance;
};

} // namespace

MMeshCorrespondenceMapperProjection::~MMeshCorrespondenceMapperProjection() = default;

std::unique_ptr<SurfaceMatcher> MMeshCorrespondenceMapperProjection::MakeMatcher(MStlBase& stl) const {
    return std::make_unique<ProjectionMatcher>(stl, m_tolerance);
}
