// SPDX-License-Identifier: BSD-3-Clause
// Makes a quadratic mesh of a linear one, and asks where its nodes came from: convert_elements TET4_MESH
//
// 1. Read a mesh of linear tetrahedra.
// 2. Convert it into a mesh of its own, with the origins recorded.
// 3. Carry a value over by the origins: a mid-edge node gets the mean of the two ends of its edge.
// 4. Convert back; the corners and the volume are those of the first mesh.
#include <KetSDK/Mesh/geometry/MMeshConvertTet10ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet4ToTet10Operator.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshOrigins.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/ModelFile.h>

#include <algorithm>
#include <iostream>

int main(int argc, char** argv) try {
    // 1.
    auto const model = KetSDK::MeshJobs::ReadModel(argc > 1 ? argv[1] : "", {}, {});
    MMeshBase& linear = *model.mesh;

    // 2.
    MMeshBase quadratic;
    MMeshOrigins origins;
    MMeshConvertTet4ToTet10Operator to_quadratic;
    to_quadratic.SetMesh(&linear);
    to_quadratic.SetTet10Mesh(&quadratic);
    to_quadratic.SetOrigins(&origins);
    if (!to_quadratic.Operate())
        return 1;
    auto const corners = std::ranges::count_if(origins.nodes, [](auto const& node) { return node.IsOne(); });
    std::cout << quadratic.NumberOfPoints() << " nodes: " << corners
              << " corners, the others in the middle of edges\n";

    // 3.
    double highest = 0.0;
    for (MMeshOrigins::Node const& node : origins.nodes) {
        auto const height = [&](MLong i) {
            return linear.GetRandomPoint(static_cast<std::uint64_t>(i))->GetPosition()[2];
        };
        highest = std::max(highest, (height(node.a) + height(node.b)) / 2.0);
    }
    std::cout << "the highest one lies at z = " << highest << " mm\n";

    // 4.
    MMeshBase back;
    MMeshConvertTet10ToTet4Operator to_linear;
    to_linear.SetMesh(&quadratic);
    to_linear.SetTet4Mesh(&back);
    if (!to_linear.Operate())
        return 1;
    std::cout << "volume " << linear.GetVolume() << " and, there and back, " << back.GetVolume() << " mm3\n";
    return back.NumberOfPoints() == corners ? 0 : 1;
} catch (KetSDK::MeshJobs::Error const& error) {
    std::cerr << "convert_elements: " << error.what() << "\n";
    return 1;
}
