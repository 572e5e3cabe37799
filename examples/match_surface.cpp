// SPDX-License-Identifier: BSD-3-Clause
// Says which face of a mesh each triangle of a surface lies on: match_surface MESH SURFACE
//
// 1. Read mesh and surface.
// 2. Map with a tolerance: a triangle lies on a face when its corners lie that near to the face's plane.
// 3. Walk over the boundary faces and ask for their triangles.
// 4. Count both ways.
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceChecker.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <iostream>

int main(int argc, char** argv) try {
    if (argc != 3) {
        std::cerr << "usage: match_surface MESH SURFACE\n";
        return 1;
    }
    // 1.
    auto const model = KetSDK::MeshJobs::ReadModel(argv[1], {}, {});
    auto const surface = KetSDK::MeshJobs::ReadSurface(argv[2], {}, {});
    MMeshBase& mesh = *model.mesh;

    // 2. The mesh keeps the mapper for whoever needs it next, the checker below among them.
    auto const mapper =
        std::make_shared<MMeshCorrespondenceMapperProjection>(surface.surfaces.get(), &mesh, 0.1);
    mapper->Map();
    mesh.SetCorrespondenceMapper(mapper);

    // 3.
    MMeshBaseNeighborsInfo& neighbors = *mesh.GetNeighborsInfo();
    neighbors.Enable();
    MLong with = 0;
    for (MMeshElement& element : mesh.Elements())
        for (unsigned int face = 0; face < 4; ++face)
            if (!neighbors.GetNeighbor(&element, face) && mapper->GetTriangle(&element, face))
                ++with;
    std::cout << with << " boundary faces have a triangle\n";

    // 4.
    MMeshCorrespondenceChecker const checker(surface.surfaces.get(), &mesh);
    std::cout << checker.GetNbBoundaryFacesWithoutTriangle() << " have none; "
              << checker.GetNbTrianglesWithoutFace() << " triangles lie on no face\n";
    return static_cast<MLong>(checker.GetNbBoundaryFacesWithTriangle()) == with ? 0 : 1;
} catch (KetSDK::MeshJobs::Error const& error) {
    std::cerr << "match_surface: " << error.what() << "\n";
    return 1;
}
