// SPDX-License-Identifier: BSD-3-Clause
// Writes a model to a file and reads it back, with the layer of jobs alone.
#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Info.h>
#include <KetSDK/MeshJobs/ModelFile.h>

#include <iostream>

int main(int, char** arguments) {
    namespace jobs = KetSDK::MeshJobs;
    double const scale = KetSDK::Common::MInternalUnits::Get();
    jobs::Model model;
    model.mesh = std::make_unique<MMeshBase>();
    MMeshPoint* nodes[4] = {&model.mesh->AddPointUnique({0.0, 0.0, 0.0}, scale),
                            &model.mesh->AddPointUnique({1.0, 0.0, 0.0}, scale),
                            &model.mesh->AddPointUnique({0.0, 1.0, 0.0}, scale),
                            &model.mesh->AddPointUnique({0.0, 0.0, 6.0}, scale)};
    model.mesh->AddSubVolume()->IncludeElement(*model.mesh->AddElement(4, nodes));
    try {
        jobs::WriteModel(model, arguments[1], {}, {});
        jobs::InfoResult const info = jobs::Info(jobs::ReadModel(arguments[1], {}, {}), {});
        std::cout << info.elements << " element, " << info.nodes << " nodes, " << info.volume << " mm3"
                  << std::endl;
        jobs::ReadModel("missing.vtu", {}, {});
    } catch (jobs::FileError const& error) {
        std::cout << error.what() << std::endl;
    }
}
