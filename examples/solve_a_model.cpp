// SPDX-License-Identifier: BSD-3-Clause
// Holds a head at its base, presses on its crown, and solves for stresses: solve_a_model MESH OUTPUT
//
// 1. Read the mesh.
// 2. Give the sub-volumes constant materials.
// 3. Build the case: places by name, what holds them and what loads them.
// 4. Solve with CalculiX; the job refuses a model that no solver takes and results that do not balance.
// 5. Look at reactions and stresses, and write the arrays that came back.
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Image.h>
#include <KetSDK/MeshJobs/Materials.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshJobs/Solve.h>

#include <cstdlib>
#include <iostream>

namespace Jobs = KetSDK::MeshJobs;

int main(int argc, char** argv) try {
    if (argc != 3) {
        std::cerr << "usage: solve_a_model MESH OUTPUT\n";
        return 1;
    }
    // 1.
    Jobs::Context const context;
    Jobs::Model model = Jobs::ReadModel(argv[1], {}, context);

    // 2.
    Jobs::MaterialsOptions materials;
    materials.constants_only = true;
    for (Jobs::SubVolumeReport const& sub_volume : Jobs::ReportSubVolumes(*model.mesh))
        materials.constants.push_back({sub_volume.name, 1.0, 1000.0, 0.3}); // g/cm3, MPa
    Jobs::Materials(model, {}, materials, context);

    // 3.
    Jobs::SolveOptions options;
    KetSDK::MeshSolver::Case& load_case = options.load_case.content;
    load_case.places.resize(2);
    load_case.places[0].name = "base";
    load_case.places[0].end = {.axis = 2, .is_upper = false, .within = 5.0}; // the lowest 5 mm
    load_case.places[1].name = "crown";
    load_case.places[1].end = {.axis = 2, .is_upper = true, .within = 20.0};
    load_case.fixes = {{.place = "base", .axes = {true, true, true}}};
    load_case.forces = {{.place = "crown", .total = {0.0, 0.0, -250.0}}}; // N

    // 4.
    if (char const* const path = std::getenv("PATH"))
        options.path = path; // where the solver is found
    Jobs::SolveResult const result = Jobs::Solve(model, options, context);

    // 5.
    std::cout << "applied " << result.applied[2] << " N, held by " << result.reaction[2] << " N\n"
              << "largest displacement " << result.max_displacement << " mm, von Mises stress "
              << result.max_von_mises << " MPa\n";
    Jobs::WriteModel(model, argv[2], {}, context);
    return result.balance && *result.balance < 1e-3 ? 0 : 1;
} catch (Jobs::Error const& error) {
    std::cerr << "solve_a_model: " << error.what() << "\n";
    return 1;
}
