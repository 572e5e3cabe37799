// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>

#include <memory>
#include <span>
#include <vector>

class MMeshBase;
class MStlFeature;

// Turns the edges of tetrahedra into line graphs: one for each sub-volume of the mesh, in the order of its
// list. They are appended to a feature and named as the sub-volumes. A graph has the corners of the elements
// as vertices, in the order in which these first meet them and with the nodes' integer coordinates. It has
// every edge once, in the direction of descr_tet4_tet10_point in the element that first has it. Nodes at one
// position become one vertex.
//
// Unless all edges are asked for, those on a face at which some sub-volume ends, outside or against another
// one, are left out of every graph; their vertices stay.
// Every element is read as the tetrahedron of its first four nodes; one with fewer is left out. Mesh and
// feature are borrowed. One thread at a time uses operator, mesh and feature.
class KETSDK_MESH_API MMeshConvertTetToGraphOperator {
public:
    MMeshConvertTetToGraphOperator(MMeshBase& mesh, MStlFeature& feature) noexcept;
    MMeshConvertTetToGraphOperator(MMeshConvertTetToGraphOperator const&) = delete;
    MMeshConvertTetToGraphOperator& operator=(MMeshConvertTetToGraphOperator const&) = delete;
    ~MMeshConvertTetToGraphOperator();

    // Whether edges on boundary faces of sub-volumes are left out; true unless set.
    void SetOnlyInteriorEdges(bool only_interior) noexcept { m_only_interior_edges = only_interior; }
    bool GetOnlyInteriorEdges() const noexcept { return m_only_interior_edges; }

    // Whether Operate() may use several threads, as many as the task arena of the caller has; false unless
    // set. The result is the same bit for bit either way.
    void SetParallel(bool parallel) noexcept { m_parallel = parallel; }
    bool GetParallel() const noexcept { return m_parallel; }

    // Appends the graphs; those that the feature has stay as they are. Always true. With interior edges only
    // it enables the neighbour information of the mesh and leaves it enabled.
    bool Operate();

private:
    // For each node those that it is joined to by an edge of a boundary face, in the order of their
    // addresses. It stays until the next run.
    using NodeSet = std::span<MMeshPoint* const>;
    using BoundaryEdges = MDataMask<MMeshPoint, NodeSet>;

    void FindBoundaryEdges();

    MMeshBase* m_mesh;
    MStlFeature* m_feature;
    bool m_only_interior_edges = true;
    bool m_parallel = false;
    std::unique_ptr<BoundaryEdges> m_boundary_edges;
    std::vector<MMeshPoint*> m_joined_nodes; // those of all sets
};
