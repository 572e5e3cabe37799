// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Math/MathCore/MTriangle.h>
#include <KetSDK/Support/MBlockStorage.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

class MStlBase;
class MStlTriangle;

// The triangles of a surface container in a spatial tree, for questions about what lies near a point.
// Positions and distances are in model units; distances are those to the triangles themselves, not to their
// boxes. The tree keeps the positions that the triangles had when it was built, so it answers for the surface
// as it was then. The triangles that it names belong to the container. Immutable: any number of threads may
// ask at once.
class KETSDK_API MStlTriangleTree {
public:
    using Point = MMVector<double, 3>;

    // What a triangle is to a point.
    struct Hit {
        MStlTriangle const* triangle = nullptr;
        std::uint64_t number = 0; // the triangle's index in the container
        Point point;              // the point of the triangle that is nearest
        double distance = std::numeric_limits<double>::infinity();
    };

    // Built on several threads when parallel; the tree is the same.
    explicit MStlTriangleTree(MStlBase const& stl, bool parallel = false);
    // Of some triangles only: the tree does not find those for whose numbers `left_out` is true.
    MStlTriangleTree(MStlBase const& stl, std::vector<bool> const& left_out, bool parallel = false);
    MStlTriangleTree(MStlTriangleTree const&) = delete;
    MStlTriangleTree& operator=(MStlTriangleTree const&) = delete;
    ~MStlTriangleTree();

    // The nearest triangle that is no farther than max_distance; of several at the same distance the one
    // of lowest number. The hit has no triangle when there is none, also for a point that is not finite.
    Hit FindNearest(Point const& p, double max_distance = std::numeric_limits<double>::infinity()) const;

    // Replaces `hits` by all triangles that are no farther than `distance`, a finite number, by ascending
    // number. A list that is used again costs no memory.
    void FindWithin(Point const& p, double distance, std::vector<Hit>& hits) const;

    std::size_t NumberOfTriangles() const noexcept { return m_positions.size(); }
    // The corners of a triangle, as they were when the tree was built. Not range-checked.
    MTriangle<double, 3> const& GetPositions(std::uint64_t number) const noexcept {
        return m_positions[static_cast<std::size_t>(number)];
    }

    // The point of a triangle that is nearest to p. Triangles may be degenerate.
    static Point ClosestPoint(MTriangle<double, 3> const& triangle, Point const& p) noexcept;

private:
    class Tree;

    void TakePositions(bool parallel);
    Hit HitOf(std::uint32_t number, Point const& p) const noexcept;
    // Calls visit(hit) for the triangles no farther than `distance`, in no particular order. The function may
    // lower that.
    template <typename Visit>
    void ForEachWithin(Point const& p, double const& distance, Visit const& visit) const;

    MStlBase const& m_stl;
    KetSDK::Support::MBlockStorage<MTriangle<double, 3>, 1024> m_positions; // by number
    std::unique_ptr<Tree> m_tree;
};
