// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <array>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace KetSDK::Common {
class IProgressDelegate;
} // namespace KetSDK::Common

class MMeshBase;
struct MMeshOrigins;

// Builds a mesh in which every hexahedron and wedge of a mesh is cut into linear tetrahedra that fit
// together; elements of other kinds are copied. Elements come sub-volume by sub-volume, within one in the
// order of the mesh; each new sub-volume has the name and the material number of the old one. Nodes at one
// position become one node, unless SetJoinNodes says otherwise. Inverted elements are turned.
//
// A face with four corners is halved through its node with the smallest index, so that neighbours agree
// without asking. A hexahedron becomes five or six tetrahedra, a wedge three: J. Dompierre, P. Labbe, M.-G.
// Vallet, R. Camarero, How to subdivide pyramids, prisms and hexahedra into tetrahedra, 8th International
// Meshing Roundtable, 1999. Beside triangles, as those of tetrahedra, the diagonal is theirs. Where an
// element is so warped that a tetrahedron would not be positive, it is cut on the same diagonals in another
// way. Where that does not help, it gets one node inside, or other diagonals that its neighbours can bear. An
// element for which nothing of that helps is folded: it keeps the first cut, with tetrahedra that are not
// positive. All that is judged exactly, on integer coordinates.
//
// No node is added on a face, so the outside stays what it is, and the volume to what warped faces leave
// open. Masks and original identifiers are not copied: see CarryMasks. Reads no settings. One thread at a
// time uses operator and meshes.
class KETSDK_MESH_API MMeshConformingCutOperator : public MMeshOperator {
public:
    MMeshConformingCutOperator() = default;
    MMeshConformingCutOperator(MMeshConformingCutOperator const&) = default;
    MMeshConformingCutOperator& operator=(MMeshConformingCutOperator const&) = default;
    ~MMeshConformingCutOperator() override;

    // The mesh to fill, which must be set; meant to be empty: its sub-volumes are dropped, nodes and elements
    // that it has stay. Borrowed.
    void SetTet4Mesh(MMeshBase* target) noexcept { m_target = target; }
    MMeshBase* GetTet4Mesh() const noexcept { return m_target; }

    // Where to record what elements and nodes of the target came from; null, as at first, records nothing.
    // Borrowed.
    void SetOrigins(MMeshOrigins* origins) noexcept { m_origins = origins; }

    // Edges between nodes of the mesh, by their indices: a face of which one is a diagonal is halved there,
    // as it is beside triangles. None unless set.
    void SetEdges(std::vector<std::array<MLong, 2>> edges) noexcept { m_given_edges = std::move(edges); }
    // Whether nodes at one position become one node, as unless set; else bodies that only touch stay apart.
    void SetJoinNodes(bool join) noexcept { m_join_nodes = join; }

    // Hears of the progress, and lets the user cancel; null for none.
    void SetProgressDelegate(std::shared_ptr<KetSDK::Common::IProgressDelegate> delegate) noexcept {
        m_delegate = std::move(delegate);
    }

    // Cuts, and makes the target linear. False without a mesh or target, when both are the same and for
    // elements with nodes of another mesh, with nothing changed. False when the user cancelled, with a target
    // that is not complete.
    bool Operate() override;

    // What the last run did.
    struct Counts {
        std::uint64_t turned = 0;          // elements of the source that were inverted
        std::uint64_t nodes_inside = 0;    // nodes that were added, one in an element
        std::uint64_t other_diagonals = 0; // faces that are not halved through their smallest index
        std::uint64_t folded = 0;          // elements with a tetrahedron that is not positive
        std::uint64_t shared_faces = 0;    // faces with four corners between two elements
        std::uint64_t mismatches =
            0; // those where the tetrahedra of the two do not meet; there should be none
    };
    Counts const& GetCounts() const noexcept { return m_counts; }

private:
    MMeshBase* m_target = nullptr;
    MMeshOrigins* m_origins = nullptr;
    std::vector<std::array<MLong, 2>> m_given_edges;
    bool m_join_nodes = true;
    std::shared_ptr<KetSDK::Common::IProgressDelegate> m_delegate;
    Counts m_counts;
};
