// SPDX-License-Identifier: BSD-3-Clause
// Cuts a mesh in the middle and integrates the section over its height: cut_plane MESH
//
// 1. Read the mesh.
// 2. Cut it by planes along z. A cut changes no element; it says on which side each one lies.
// 3. The area of each section, times the distance of the planes, sums up to the volume.
// 4. The last section as closed contours.
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/MMeshOperatorCutPlane.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/ModelFile.h>

#include <cmath>
#include <iostream>

int main(int argc, char** argv) try {
    // 1.
    auto const model = KetSDK::MeshJobs::ReadModel(argc > 1 ? argv[1] : "", {}, {});
    auto const box = KetSDK::MeshJobs::BoxOf(*model.mesh);

    // 2.
    int const planes = 40;
    double const distance = (box[5] - box[2]) / planes;
    double volume = 0.0;
    MMeshOperatorCutPlane cut;
    cut.SetMesh(model.mesh.get());
    for (int i = 0; i < planes; ++i) {
        cut.SetPlane({0.0, 0.0, 1.0}, {0.0, 0.0, box[2] + (i + 0.5) * distance});
        if (!cut.Operate())
            return 1;
        volume += cut.GetSection().GetArea() * distance;
    }

    // 3.
    std::cout << volume << " mm3 of sections, " << model.mesh->GetVolume() << " mm3 of elements\n";

    // 4.
    std::cout << cut.GetNbBelow() << " elements lie below the last plane, " << cut.GetNbAbove() << " above; "
              << cut.GetSection().NumberOfPolygons() << " polygons of it have an area of "
              << cut.GetSection().GetArea() << " mm2\n";
    return std::abs(volume - model.mesh->GetVolume()) <= 0.01 * volume ? 0 : 1;
} catch (KetSDK::MeshJobs::Error const& error) {
    std::cerr << "cut_plane: " << error.what() << "\n";
    return 1;
}
