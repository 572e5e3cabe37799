// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <vector>

class MMeshPoint;
struct MMeshOrigins;

// Adds a second mesh to the mesh of the operator, behind what that has, and leaves the second one as it is.
//
// - Every node of the second mesh whose position has a node already becomes that node, the first where there
//   are several. So nodes of the second mesh at one position become one as well. Those that the first mesh
//   has at one position stay as they are.
// - The sub-volumes of the second mesh are appended, empty ones too, under their names, which may be there
//   already, and with their material numbers. Elements in no sub-volume are in none afterwards.
// - A material of the second mesh that is equal to one of the first but for its identifier becomes that one.
//   Another one keeps its identifier unless that stands for something else in the first mesh. Then it, and
//   its elements, get the smallest one from 1 on that is not in use. An identifier that no catalog knows is
//   taken to mean the same in both meshes.
// - The built-in values of elements and of the nodes that are new come along; where only one mesh has a kind
//   of value, the other's elements have its default. User masks of the second mesh stay behind.
// - The flags for grey values and volume lists are set when either mesh has them, and the type is quadratic
//   when either is.
//
// The neighbour information of the first mesh is disabled, as it would be stale. Reads no settings, reports
// no progress. One thread at a time uses operator and meshes.
class KETSDK_MESH_API MMeshMergeVolumesOperator : public MMeshOperator {
public:
    // The mesh that grows, which SetMesh exchanges, and the one that is added; both are borrowed.
    MMeshMergeVolumesOperator(MMeshBase* first, MMeshBase* second)
        : m_second(second) {
        SetMesh(first);
    }
    MMeshMergeVolumesOperator(MMeshMergeVolumesOperator const&) = default;
    MMeshMergeVolumesOperator& operator=(MMeshMergeVolumesOperator const&) = default;
    ~MMeshMergeVolumesOperator() override;

    // Where to record what came from the first mesh, and what from the second, whose elements and nodes
    // follow those of the first; null, as at first, records nothing. Borrowed. Nodes of the second mesh that
    // became one with others are counted with the second.
    void SetOrigins(MMeshOrigins* of_first, MMeshOrigins* of_second) noexcept {
        m_of_first = of_first;
        m_of_second = of_second;
    }

    // Merges. False, with nothing changed, when a mesh is missing and when both are the same.
    bool Operate() override;

    // For each node of the second mesh, by index, the node of the first that it became in the last run.
    std::vector<MMeshPoint*> const& GetNodes() const noexcept { return m_nodes; }

private:
    MMeshBase* m_second;
    std::vector<MMeshPoint*> m_nodes;
    MMeshOrigins* m_of_first = nullptr;
    MMeshOrigins* m_of_second = nullptr;
};
