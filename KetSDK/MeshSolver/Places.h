// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/Case.h>
#include <KetSDK/MeshSolver/MeshSolverExport.h>
#include <KetSDK/MeshSolver/Surfaces.h>

#include <cstdint>
#include <string>
#include <vector>

class MMeshBase;

namespace KetSDK::MeshSolver {

// The nodes and faces of a place, ascending.
struct PlaceContent {
    std::vector<std::uint32_t> nodes;
    std::vector<FaceOfElement> faces;
};

// Finds the places of a case in a mesh. Axis, box and sphere hold for a face when they hold for all its
// nodes, to the precision of the mesh's coordinates. Faces are outer ones unless the place names a surface.
// With a surface or a normal the nodes are those of the faces, otherwise all that elements use.
class KETSDK_MESHSOLVER_API PlaceFinder {
public:
    // Everything is borrowed. `used` says of each node whether an element uses it; `subvolumes` are the names
    // by number.
    PlaceFinder(MMeshBase const& mesh, std::vector<MeshSurface> const& surfaces,
                std::vector<std::string> const& subvolumes, std::vector<bool> const& used);

    // Throws CaseError for a surface or sub-volume that the mesh does not have.
    PlaceContent Find(Case::Place const& place) const;

private:
    std::vector<FaceOfElement> FacesOf(Case::Place const& place) const;
    std::vector<bool> SubVolumesOf(Case::Place const& place) const;

    MMeshBase const& m_mesh;
    std::vector<MeshSurface> const& m_surfaces;
    std::vector<std::string> const& m_subvolumes;
    std::vector<bool> const& m_used;
    std::array<double, 3> m_low{};
    std::array<double, 3> m_high{};
};

} // namespace KetSDK::MeshSolver
