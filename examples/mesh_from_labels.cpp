// SPDX-License-Identifier: BSD-3-Clause
// Makes a mesh of an image of labels that it draws itself: a ball in a shell.
//
// 1. Fill an image: a whole number for each voxel, 0 for outside.
// 2. Say how fine the elements are to be and which angle none may fall below.
// 3. Ask for a forecast before memory is taken.
// 4. Make the mesh; it has a sub-volume for each label.
// 5. Compare the volumes with those of the voxels.
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/meshing/MLabelImage.h>
#include <KetSDK/Mesh/meshing/MMeshFromLabelsOperator.h>

#include <cmath>
#include <iostream>

int main() {
    // 1.
    MLabelImage image;
    image.size = {40, 40, 40};
    image.labels.resize(40 * 40 * 40);
    for (std::size_t i = 0; i < image.labels.size(); ++i) {
        double const x = static_cast<double>(i % 40) - 19.5;
        double const y = static_cast<double>(i / 40 % 40) - 19.5;
        double const z = static_cast<double>(i / 1600) - 19.5;
        double const radius = std::sqrt(x * x + y * y + z * z);
        image.labels[i] = radius < 9.0 ? 2 : radius < 16.0 ? 1 : 0;
    }

    // 2.
    MMeshFromLabelsSettings settings;
    settings.size = 2.0;
    settings.largest_size = 8.0;
    settings.smallest_dihedral = 10.0;

    // 3.
    MMeshBase mesh;
    MMeshFromLabelsOperator make;
    make.SetMesh(&mesh);
    make.SetImage(&image);
    make.SetMeshingSettings(settings);
    make.SetParallel(true);
    if (std::string const fault = make.FindFault(); !fault.empty()) {
        std::cerr << "mesh_from_labels: " << fault << "\n";
        return 1;
    }
    std::cout << "about " << make.Predict(settings.size).elements << " elements are to come\n";

    // 4.
    if (!make.Operate())
        return 1;
    std::cout << mesh.NumberOfElements() << " elements, smallest dihedral angle "
              << make.GetSmallestDihedral() << " degrees\n";

    // 5.
    for (MMeshLabelReport const& label : make.GetReports()) {
        std::cout << "label " << label.label << ": " << label.volume << " mm3, voxels " << label.voxel_volume
                  << "\n";
        if (std::abs(label.volume - label.voxel_volume) > 0.03 * label.voxel_volume)
            return 1;
    }
    return make.GetSmallestDihedral() >= 10.0 ? 0 : 1;
}
