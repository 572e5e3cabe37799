// SPDX-License-Identifier: BSD-3-Clause
// Walks over a mesh from element to element: walk_neighbors MESH
//
// 1. Read a mesh of tetrahedra.
// 2. Enable the neighbour information: from now until elements change, each face knows what lies across it.
// 3. Spread out from the first element through faces, and count the steps to the farthest one.
// 4. Number the layers from the boundary inwards, which is another walk.
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLayers.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/ModelFile.h>

#include <iostream>
#include <vector>

int main(int argc, char** argv) try {
    // 1.
    auto const model = KetSDK::MeshJobs::ReadModel(argc > 1 ? argv[1] : "", {}, {});
    MMeshBase& mesh = *model.mesh;

    // 2.
    MMeshBaseNeighborsInfo& neighbors = *mesh.GetNeighborsInfo();
    neighbors.Enable();

    // 3.
    MDataMask<MMeshElement, int> steps(-1);
    mesh.GetElementMasks()->RegisterMask(&steps);
    std::vector<MMeshElement*> front{mesh.GetElement(0)};
    steps.SetValue(*front.front(), 0);
    for (std::size_t i = 0; i < front.size(); ++i)
        for (unsigned int face = 0; face < 4; ++face)
            if (MMeshElement* const next = neighbors.GetNeighbor(front[i], face);
                next && steps.GetValue(*next) < 0) {
                steps.SetValue(*next, steps.GetValue(*front[i]) + 1);
                front.push_back(next);
            }
    std::cout << front.size() << " of " << mesh.NumberOfElements()
              << " elements hang together; the farthest is " << steps.GetValue(*front.back())
              << " steps away\n";

    // 4.
    MMeshOperatorLayers layers;
    layers.SetMesh(&mesh);
    layers.SetNbLayers(3);
    if (!layers.Operate())
        return 1;
    std::cout << layers.GetNbLayersElements() << " elements lie in the three outermost layers\n";
} catch (KetSDK::MeshJobs::Error const& error) {
    std::cerr << "walk_neighbors: " << error.what() << "\n";
    return 1;
}
