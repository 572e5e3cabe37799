// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Image.h>
#include <KetSDK/MeshJobs/Materials.h>
#include <host/commands/Command.h>
#include <host/terminal/Choice.h>
#include <host/terminal/Output.h>

#include <string>

namespace ketmesh {

// The options with which a command reads an image and takes grey values for the elements of a mesh from it.
class ImageInput {
public:
    // Declares --image and the options that go with it; returns that of the file name.
    CLI::Option* Declare(Command& owner, CLI::App& command);

    std::string const& GetFileName() const noexcept { return m_file; }
    KetSDK::MeshJobs::Image Read(KetSDK::MeshJobs::Context const& context) const;
    // Says in the options how values are taken.
    void SetSampling(KetSDK::MeshJobs::MaterialsOptions& options) const;
    // What sampling did, for a report.
    Json ToJson(KetSDK::MeshVTK::SamplingReport const& report) const;

private:
    std::string m_file;
    std::string m_unit = "mm";
    std::string m_series;
    Choice<KetSDK::MeshVTK::SamplingMode> m_mode{{{"centroid", KetSDK::MeshVTK::SamplingMode::Centroid},
                                                  {"mean", KetSDK::MeshVTK::SamplingMode::Mean},
                                                  {"voxels", KetSDK::MeshVTK::SamplingMode::Voxels}}};
    int m_order = 2;
    double m_outside = 0.0;
};

} // namespace ketmesh
