// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperExact.h>

#include <KetSDK/Mesh/correspondence/detail/SurfaceMatcher.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>
#include <KetSDK/Support/MHash.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <tsl/robin_map.h>

#include <algorithm>

using namespace KetSDK::Mesh::Detail;

namespace {

// Triangles by the indices of their corner points, the first point at each position standing for all.
class ExactMatcher : public SurfaceMatcher {
public:
    explicit ExactMatcher(MStlBase const& stl)
        : m_stl(stl) {
        m_triangles.reserve(static_cast<std::size_t>(stl.NumberOfTriangles()));
        std::uint32_t number = 0;
        for (MStlTriangle const& t : stl.Triangles()) {
            Corners const corners =
                Sort({Lookup(*t.GetPoint(0)), Lookup(*t.GetPoint(1)), Lookup(*t.GetPoint(2))});
            std::uint32_t& first = corners.even ? m_triangles[corners.point].same //
                                                : m_triangles[corners.point].opposite;
            first = std::min(first, number++);
        }
    }

    bool IsNear(MMeshPoint const& node) const override {
        return m_stl.FindPoint(node.x, node.y, node.z) != nullptr;
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
    using Points = std::array<MLong, 3>;
    // The corners by ascending index, and whether that winds as before.
    struct Corners {
        Points point;
        bool even = true;
    };
    struct Hash {
        std::size_t operator()(Points const& p) const noexcept {
            return static_cast<std::size_t>(KetSDK::Support::HashOfPosition(p[0], p[1], p[2]));
        }
    };

    static Corners Sort(Points const& unsorted) {
        Corners corners{unsorted};
        auto const order = [&corners](std::size_t a, std::size_t b) {
            if (corners.point[a] > corners.point[b]) {
                std::swap(corners.point[a], corners.point[b]);
                corners.even = !corners.even;
            }
        };
        order(0, 1);
        order(1, 2);
        order(0, 1);
        return corners;
    }

    MLong Lookup(MStlPoint const& p) const {
        return m_stl.FindPoint(p.GetX(), p.GetY(), p.GetZ())->GetIndex();
    }

    FaceMatch Match(SurfaceFace const& face) const {
        Points points;
        for (std::size_t i = 0; i < 3; ++i) {
            MMeshPoint const& node = *face.corners[i];
            points[i] = m_stl.FindPoint(node.x, node.y, node.z)->GetIndex();
        }
        Corners const corners = Sort(points);
        auto const found = m_triangles.find(corners.point);
        if (found == m_triangles.end())
            return {};
        FaceMatch match = found->second;
        if (!corners.even)
            std::swap(match.same, match.opposite);
        return match;
    }

    MStlBase const& m_stl;
    // The triangles that wind by ascending indices and the other way.
    tsl::robin_map<Points, FaceMatch, Hash> m_triangles;
};

} // namespace

MMeshCorrespondenceMapperExact::~MMeshCorrespondenceMapperExact() = default;

std::unique_ptr<SurfaceMatcher> MMeshCorrespondenceMapperExact::MakeMatcher(MStlBase& stl) const {
    return std::make_unique<ExactMatcher>(stl);
}
