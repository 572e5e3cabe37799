// SPDX-License-Identifier: BSD-3-Clause
// Extracts the surface at a fixed distance from a point in a mesh: isosurface MESH
//
// 1. Read a mesh of tetrahedra.
// 2. Make a field with a value at each node; it belongs to us and stays registered while it lives.
// 3. Extract the surface on which the field is 30.
// 4. Look at the result: its area, and whether it is closed.
#include <KetSDK/Mesh/materials/MMeshNamedScalarMaskPoints.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/MMeshIsosurfaceOperator.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <cmath>
#include <iostream>

int main(int argc, char** argv) try {
    // 1.
    auto const model = KetSDK::MeshJobs::ReadModel(argc > 1 ? argv[1] : "", {}, {});
    MMeshBase& mesh = *model.mesh;

    // 2.
    MMeshNamedScalarMaskPoints distance(L"distance", L"Distance from the middle", &mesh, 0.0);
    auto const& box = mesh.GetBoundingBox();
    for (auto node = mesh.BeginPoint(); node != mesh.EndPoint(); ++node) {
        double sum = 0.0;
        MLong const position[3] = {node->x, node->y, node->z};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            double const middle = 0.5 * box.GetMin()[axis] + 0.5 * box.GetMax()[axis];
            sum += std::pow((position[axis] - middle) / KetSDK::Common::MInternalUnits::Get(), 2.0);
        }
        distance.SetValue(*node, std::sqrt(sum));
    }

    // 3.
    MStlBase surface;
    MMeshIsosurfaceOperator isosurface;
    isosurface.SetMesh(&mesh);
    isosurface.SetNodesMask(&distance);
    isosurface.SetIsoValue(30.0);
    isosurface.SetIsoSurface(&surface);
    if (!isosurface.Operate())
        return 1;

    // 4.
    for (MStlSurface const& one : surface.Surfaces())
        std::cout << one.NumberOfTriangles() << " triangles, " << one.GetArea() << " mm2, "
                  << (one.IsClosed() ? "closed" : "open where it leaves the mesh") << "\n";
} catch (KetSDK::MeshJobs::Error const& error) {
    std::cerr << "isosurface: " << error.what() << "\n";
    return 1;
}
