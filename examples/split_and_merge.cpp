// SPDX-License-Identifier: BSD-3-Clause
// Splits sub-volumes into connected pieces, takes one out, and puts it back: split_and_merge MESH
//
// 1. Read the mesh.
// 2. Split: each further component of a sub-volume becomes a sub-volume of its own.
// 3. Copy the last one into a mesh of its own and remove it from the first mesh.
// 4. Merge the two meshes; nodes at one position become one node.
// 5. The volume is what it was.
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/MMeshMergeVolumesOperator.h>
#include <KetSDK/Mesh/operators/MMeshOperatorRemoveSubVolume.h>
#include <KetSDK/Mesh/operators/MMeshSplitVolumesOperator.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/ModelFile.h>

#include <cmath>
#include <iostream>
#include <memory>

int main(int argc, char** argv) try {
    // 1.
    auto const model = KetSDK::MeshJobs::ReadModel(argc > 1 ? argv[1] : "", {}, {});
    MMeshBase& mesh = *model.mesh;
    double const volume = mesh.GetVolume();

    // 2.
    MMeshSplitVolumesOperator split;
    split.SetMesh(&mesh);
    if (!split.Operate())
        return 1;
    std::cout << split.GetNbNewSubVolumes() << " pieces lay apart from their sub-volume\n";

    // 3.
    MMeshSubVolume& last = **(mesh.EndSubVolume() - 1);
    std::unique_ptr<MMeshBase> const piece(mesh.GetSubVolumeAsMMeshBase(last));
    MMeshOperatorRemoveSubVolume remove;
    remove.SetMesh(&mesh);
    remove.AddSubVolumeToRemove(&last);
    if (!remove.Operate())
        return 1;
    std::unique_ptr<MMeshBase> const rest(remove.GetNewMesh());
    std::cout << piece->GetVolume() << " mm3 are out\n";

    // 4.
    MMeshMergeVolumesOperator merge(rest.get(), piece.get());
    if (!merge.Operate())
        return 1;

    // 5.
    std::cout << rest->GetVolume() << " mm3 together, " << volume << " mm3 before\n";
    return std::abs(rest->GetVolume() - volume) <= 1e-9 * volume ? 0 : 1;
} catch (KetSDK::MeshJobs::Error const& error) {
    std::cerr << "split_and_merge: " << error.what() << "\n";
    return 1;
}
