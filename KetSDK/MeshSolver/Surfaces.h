// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/operators/MMeshFaces.h>
#include <KetSDK/MeshSolver/MeshSolverExport.h>

#include <cstdint>
#include <string>
#include <vector>

class MMeshBase;

namespace KetSDK::MeshSolver {

// A face of an element.
struct FaceOfElement {
    std::uint32_t element = 0; // index in the mesh
    std::uint8_t face = 0;     // as MMeshSolverFaces.h counts it, from 1

    friend auto operator<=>(FaceOfElement const&, FaceOfElement const&) = default;
};

using Mesh::FaceNodes;
using Mesh::NodesOfFace;

// A surface between sub-volumes, or between one and the outside, ascending by element and face.
struct MeshSurface {
    std::string name; // "<inside>-<outside>", "<inside>-" at the outside
    bool is_outer = false;
    std::vector<FaceOfElement> faces;
};

// All surfaces at which the sub-volumes of a mesh end, by ascending numbers of the sub-volumes, each as the
// one of the lower number sees it. `names` are those of the sub-volumes by number. Works on several threads
// when parallel; the result is the same.
KETSDK_MESHSOLVER_API std::vector<MeshSurface>
FindSurfaces(MMeshBase const& mesh, std::vector<std::string> const& names, bool parallel = false);

// The indices of the nodes on faces, ascending, each once. Parallel as above.
KETSDK_MESHSOLVER_API std::vector<std::uint32_t>
NodesOnFaces(MMeshBase const& mesh, std::vector<FaceOfElement> const& faces, bool parallel = false);

} // namespace KetSDK::MeshSolver
