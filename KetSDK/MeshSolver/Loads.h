// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/MeshSolver/Materials.h>
#include <KetSDK/MeshSolver/MeshSolverExport.h>
#include <KetSDK/MeshSolver/Surfaces.h>

#include <vector>

class MMeshBase;

namespace KetSDK::MeshSolver {

// A force at each node of a mesh, N, by index.
using NodeForces = std::vector<MMVector<double, 3>>;

// The area of faces in mm2.
KETSDK_MESHSOLVER_API double AreaOfFaces(MMeshBase const& mesh, std::vector<FaceOfElement> const& faces);

// Each of these adds to the forces.

// A total force, spread evenly over the area of faces, consistently with the elements' shape functions.
KETSDK_MESHSOLVER_API void AddForce(NodeForces& forces, MMeshBase const& mesh,
                                    std::vector<FaceOfElement> const& faces,
                                    MMVector<double, 3> const& total);
// What CalculiX makes of a pressure in MPa on faces.
KETSDK_MESHSOLVER_API void AddPressure(NodeForces& forces, MMeshBase const& mesh,
                                       std::vector<FaceOfElement> const& faces, double pressure);
// What CalculiX makes of an acceleration in mm/s2. Every material has a density.
KETSDK_MESHSOLVER_API void AddGravity(NodeForces& forces, MMeshBase const& mesh,
                                      ElementMaterials const& materials,
                                      MMVector<double, 3> const& acceleration);

} // namespace KetSDK::MeshSolver
