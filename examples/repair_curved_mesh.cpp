// SPDX-License-Identifier: BSD-3-Clause
// Repairs the folded elements of a curved mesh and verifies the result: repair_curved_mesh TET10_MESH OUTPUT
//
// 1. Read a mesh of ten-node tetrahedra.
// 2. Count the elements whose Jacobian determinant is negative anywhere: solvers refuse them.
// 3. Pull mid-edge nodes back, as little as needed, until the Jacobian ratio of each element is at most 10.
// 4. Verify: no folded element is left, and a second run finds nothing to do.
// 5. Write the mesh.
#include <KetSDK/Mesh/geometry/MMeshFold.h>
#include <KetSDK/Mesh/geometry/MMeshJacobianCorrectorOperator.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/ModelFile.h>

#include <algorithm>
#include <iostream>

namespace {

auto CountFolded(MMeshBase const& mesh) {
    return std::ranges::count_if(mesh.Elements(), [](MMeshElement const& e) { return IsFolded(e); });
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 3) {
        std::cerr << "usage: repair_curved_mesh TET10_MESH OUTPUT\n";
        return 1;
    }
    // 1.
    auto const model = KetSDK::MeshJobs::ReadModel(argv[1], {}, {});

    // 2.
    std::cout << CountFolded(*model.mesh) << " elements are folded\n";

    // 3.
    MMeshJacobianCorrectorOperator corrector;
    corrector.SetMesh(model.mesh.get());
    corrector.SetMaxRatioThreshold(10.0);
    corrector.Operate();
    std::cout << corrector.GetNbModified() << " elements were changed, the largest Jacobian ratio is "
              << corrector.GetLargestRatio() << "\n";

    // 4.
    if (CountFolded(*model.mesh) != 0)
        return 1;
    corrector.Operate();
    if (corrector.GetNbModified() != 0)
        return 1;
    std::cout << "no element is folded, and a second run finds nothing to do\n";

    // 5.
    KetSDK::MeshJobs::WriteModel(model, argv[2], {}, {});
} catch (KetSDK::MeshJobs::Error const& error) {
    std::cerr << "repair_curved_mesh: " << error.what() << "\n";
    return 1;
}
