// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace KetSDK::Common {
class IncrementalProgressReporter;
class IProgressDelegate;
} // namespace KetSDK::Common

class MMeshPoint;
class MStlBase;

// Moves the corner nodes on the boundary of a tetrahedral mesh, in place, onto the nearest point of a
// surface where that is within a distance. A mid-edge node follows by the mean of what the ends of its edge
// moved, so that it keeps its offset from the middle of the straight edge.
//
// No element is inverted: a move that would invert one is halved until it does not, which leaves the element
// some of its height. A node that came part of the way goes the rest of it when, after its neighbours have
// moved, nothing stands against that any more. Every move is judged by the rounded coordinates that it
// writes. An element is good when the determinant of its corners is positive, by more than rounding can tell.
// One of ten nodes when those of its curved shape at its corners, its edges and its centroid are, too. Good
// elements stay good. One that is not good, being flat or inverted from the start, forbids only moves that
// would make it worse.
//
// Nodes move one after another in node order, the result is the same on any number of threads. A node that
// is a mid-edge node of different edges stays, one that is a corner as well moves as a corner. The
// neighbour information is enabled and left so; it and mappings stay valid. Box and coordinate index of the
// mesh follow. Reads no settings. One thread at a time uses operator, mesh and surface.
class KETSDK_MESH_API MMeshProjectTetOnStlOperator : public MMeshOperator {
public:
    MMeshProjectTetOnStlOperator() = default;
    MMeshProjectTetOnStlOperator(MMeshProjectTetOnStlOperator const&) = default;
    MMeshProjectTetOnStlOperator& operator=(MMeshProjectTetOnStlOperator const&) = default;
    ~MMeshProjectTetOnStlOperator() override;

    // The surface, not owned; null unless set.
    void SetStl(MStlBase* stl) noexcept { m_stl = stl; }
    MStlBase* GetStl() const noexcept { return m_stl; }
    // How far, in model units, the surface may be from a node that goes there; 0 unless set.
    void SetDistance(double distance) noexcept { m_distance = distance; }
    double GetDistance() const noexcept { return m_distance; }
    // Whether the nodes between sub-volumes move as well; false unless set.
    void SetInterfaces(bool interfaces) noexcept { m_interfaces = interfaces; }
    bool GetInterfaces() const noexcept { return m_interfaces; }
    // The scaled Jacobian of the corners, 0 to 1, below which no move may bring an element. One that is below
    // it already may not get worse. 0, as at first, asks for good elements alone.
    void SetMinQuality(double quality) noexcept { m_min_quality = quality; }
    double GetMinQuality() const noexcept { return m_min_quality; }
    // Hears of the progress, and lets the user cancel; null for none.
    void SetProgressDelegate(std::shared_ptr<KetSDK::Common::IProgressDelegate> delegate) noexcept {
        m_delegate = std::move(delegate);
    }

    // The nodes that Operate looks at, in node order: those with a face at the boundary or, where that is
    // set, between sub-volumes. Nodes of the mesh; none without one
    // and for one that Operate refuses.
    std::vector<MMeshPoint*> FindNodes();

    // Moves the nodes. False, with nothing changed and no counts, without a mesh or a surface with triangles,
    // and for a mesh with elements other than tetrahedra of four or ten nodes. False also for a distance that
    // is negative or no finite number, for a smallest quality beyond 0 to 1, and when the user cancelled.
    bool Operate() override;

    // What the last run did. Every node that it looked at counts once, as moved, shortened or left.
    std::uint64_t GetNbNodes() const noexcept { return GetNbMoved() + GetNbShortened() + GetNbLeft(); }
    // Nodes that were moved onto the surface, and those that came part of the way.
    std::uint64_t GetNbMoved() const noexcept { return m_counts.moved; }
    std::uint64_t GetNbShortened() const noexcept { return m_counts.shortened; }
    // Nodes that stand where they stood, and why: the surface is too far away, goes through the node (to
    // rounding), or no part of the way to it was free.
    std::uint64_t GetNbLeft() const noexcept { return GetNbFar() + GetNbOnSurface() + GetNbHeld(); }
    std::uint64_t GetNbFar() const noexcept { return m_counts.far; }
    std::uint64_t GetNbOnSurface() const noexcept { return m_counts.on_surface; }
    std::uint64_t GetNbHeld() const noexcept { return m_counts.held; }
    // Of those shortened and held, the nodes that the smallest quality alone keeps from the surface.
    std::uint64_t GetNbLimited() const noexcept { return m_counts.limited; }
    // How far a corner node was moved at most, in model units.
    double GetLargestMove() const noexcept { return m_counts.largest_move; }

private:
    struct Counts {
        std::uint64_t moved = 0;
        std::uint64_t shortened = 0;
        std::uint64_t far = 0;
        std::uint64_t on_surface = 0;
        std::uint64_t held = 0;
        std::uint64_t limited = 0;
        double largest_move = 0.0;
    };
    struct Move;
    class Mover;

    bool CanRun();
    std::vector<MMeshPoint*> FindNodesOfTetrahedra(MMeshBase& mesh) const;
    // One for each node; none when the user cancels.
    std::vector<Move> FindMoves(std::vector<MMeshPoint*> const& nodes,
                                KetSDK::Common::IncrementalProgressReporter& reporter);
    void Count(std::vector<Move> const& moves);

    MStlBase* m_stl = nullptr;
    double m_distance = 0.0;
    double m_min_quality = 0.0;
    bool m_interfaces = false;
    std::shared_ptr<KetSDK::Common::IProgressDelegate> m_delegate;
    Counts m_counts;
};
