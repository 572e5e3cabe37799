// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/ModelFile.h>
#include <host/commands/Command.h>
#include <host/commands/options/FrameOption.h>

#include <string>

namespace ketmesh {

// The options with which every command reads a volume mesh.
class ModelInput {
public:
    // Declares the file name, which is required, and the options that go with it; returns the option of the
    // file name. `name` is what the file is given as.
    CLI::Option* Declare(Command& owner, CLI::App& command, std::string const& name = "file");

    KetSDK::MeshJobs::Model Read(KetSDK::MeshJobs::Context const& context) const;

    std::string const& GetFileName() const noexcept { return m_file; }
    // How every other mesh and surface file of the command is read: the frame is that of this one alone.
    KetSDK::MeshJobs::ReadOptions GetOptions() const;
    // The unit of all mesh and surface files of the command.
    KetSDK::MeshVTK::LengthUnit GetUnit() const;

private:
    std::string m_file;
    std::string m_labels;
    std::string m_unit = "mm";
    FrameOption m_frame;
    KetSDK::MeshVTK::RoundingLimits m_limits;
};

} // namespace ketmesh
