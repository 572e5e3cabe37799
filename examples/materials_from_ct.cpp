// SPDX-License-Identifier: BSD-3-Clause
// Gives elements densities and moduli from the grey values of a CT image: materials_from_ct MESH IMAGE OUTPUT
//
// 1. Read mesh and image; each says where x and y point in the body.
// 2. Say the law: density from grey value, modulus from density.
// 3. Run the job. It turns the image into the frame of the mesh where they differ.
// 4. Hear its warnings: they name what should make you doubt the result.
// 5. Write the mesh with grey values and materials.
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Image.h>
#include <KetSDK/MeshJobs/Materials.h>
#include <KetSDK/MeshJobs/ModelFile.h>

#include <iostream>

namespace Jobs = KetSDK::MeshJobs;

int main(int argc, char** argv) try {
    if (argc != 4) {
        std::cerr << "usage: materials_from_ct MESH IMAGE OUTPUT\n";
        return 1;
    }
    // 4. is said here, and happens wherever a job has something to say.
    Jobs::Context context;
    context.warn = [](std::string const& message) { std::cerr << "warning: " << message << "\n"; };

    // 1.
    Jobs::Model model = Jobs::ReadModel(argv[1], {}, context);
    Jobs::Image const image = Jobs::ReadImage(argv[2], {}, context);

    // 2.
    Jobs::MaterialsOptions options;
    options.law = {1.0, 0.001, 1.0, 0.0, 0.0}; // density [g/cm3] = 1 + 0.001 x
    options.modulus = {3000.0, 2.0};           // E [MPa] = 3000 density^2
    options.bins = 20;
    options.sampling = KetSDK::MeshVTK::SamplingMode::Mean;

    // 3.
    Jobs::MaterialsResult const result = Jobs::Materials(model, image, options, context);
    std::cout << result.materials.size() << " materials, " << result.mass << " g in " << result.volume
              << " mm3\n";

    // 5.
    Jobs::WriteModel(model, argv[3], {}, context);
} catch (Jobs::Error const& error) {
    std::cerr << "materials_from_ct: " << error.what() << "\n";
    return 1;
}
