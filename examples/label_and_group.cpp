// SPDX-License-Identifier: BSD-3-Clause
// Takes the sub-volumes of a mesh away and finds them again from its surfaces alone: label_and_group MESH
//
// 1. Read the mesh and extract its surfaces, outside and between sub-volumes, named after these.
// 2. Put all elements into one sub-volume.
// 3. Label: every region that the surfaces enclose becomes a sub-volume.
// 4. Group: the names of the surfaces around a region say to which sub-volume it belongs.
// 5. Compare with what the mesh had.
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/MMeshOperatorGroupSubVolumes.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLabelSubVolumes.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshJobs/Surfaces.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <iostream>

int main(int argc, char** argv) try {
    // 1.
    auto const model = KetSDK::MeshJobs::ReadModel(argc > 1 ? argv[1] : "", {}, {});
    MMeshBase& mesh = *model.mesh;
    auto const before = mesh.NumberOfSubVolumes();
    KetSDK::MeshJobs::SurfacesOptions options;
    options.interfaces = true;
    options.names = KetSDK::MeshJobs::SurfacesOptions::Names::Volumes; // "Label 1-Label 2"
    auto const extracted = KetSDK::MeshJobs::Surfaces(model, options, {});
    MStlBase& surfaces = *extracted.surfaces.surfaces;

    // 2.
    for (auto i = mesh.BeginSubVolume() + 1; i != mesh.EndSubVolume(); ++i)
        (*i)->MoveAllElements(mesh.GetMainSubVolume());
    mesh.RemoveEmptySubVolumes();

    // 3.
    MMeshOperatorLabelSubVolumes label;
    label.SetMesh(&mesh);
    label.SetStl(&surfaces);
    if (!label.Operate())
        return 1;
    std::cout << label.GetNbVolumes() << " regions\n";

    // 4.
    MMeshOperatorGroupSubVolumes group;
    group.SetMesh(&mesh);
    group.SetStl(&surfaces);
    if (!group.Operate())
        return 1;

    // 5.
    std::cout << mesh.NumberOfSubVolumes() << " sub-volumes, " << before << " before\n";
    return mesh.NumberOfSubVolumes() == before ? 0 : 1;
} catch (KetSDK::MeshJobs::Error const& error) {
    std::cerr << "label_and_group: " << error.what() << "\n";
    return 1;
}
