#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/ImageSampling.h>
#include <host/Command.h>
#include <host/terminal/Choice.h>
#include <host/terminal/Output.h>

#include <array>
#include <string>
#include <vector>

namespace ketmesh {

// The options with which a command reads an image, and the sampling of grey values for the elements of a
// mesh.
class ImageInput {
public:
    struct Sampled {
        KetSDK::MeshVTK::SamplingReport report;
        std::string note; // what the reader took for granted; empty for nothing
    };

    // Declares --image and the options that go with it; returns that of the file name.
    CLI::Option* Declare(CLI::App& command);
    // Reads the image and gives every element of the mesh a grey value. With a law, its mean over each
    // element's samples goes to `law_values`. Throws FileError for an image that cannot be used, and for
    // one that lies elsewhere than the mesh.
    Sampled Sample(MMeshBase& mesh, bool parallel, Progress const& progress,
                   KetSDK::MeshVTK::GreyLaw law = {}, std::vector<double>* law_values = nullptr) const;

    std::string const& GetFileName() const noexcept { return m_file; }
    // What sampling did, for a report.
    Json ToJson(KetSDK::MeshVTK::SamplingReport const& report) const;

private:
    void _RequireOverlap(KetSDK::MeshVTK::SamplingReport const& report) const;

    std::string m_file;
    std::string m_unit = "mm";
    Choice<KetSDK::MeshVTK::SamplingMode> m_mode{{{"centroid", KetSDK::MeshVTK::SamplingMode::Centroid},
                                                  {"mean", KetSDK::MeshVTK::SamplingMode::Mean},
                                                  {"voxels", KetSDK::MeshVTK::SamplingMode::Voxels}}};
    int m_order = 2;
    double m_outside = 0.0;
};

// "0 0 0 .. 100 100 50"
std::string BoxText(std::array<double, 6> const& box);

} // namespace ketmesh
