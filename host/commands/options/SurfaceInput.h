// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/SurfaceModel.h>
#include <host/commands/Command.h>
#include <host/commands/options/ModelInput.h>

#include <string>

namespace ketmesh {

// The option with which a command reads a surface beside its mesh.
class SurfaceInput {
public:
    // Declares --surface; returns its option.
    CLI::Option* Declare(Command& owner, CLI::App& command);

    bool IsGiven() const noexcept { return !m_file.empty(); }
    std::string const& GetFileName() const noexcept { return m_file; }
    // Reads the surface, which is in the unit of the mesh; without a file name it is empty.
    KetSDK::MeshJobs::SurfaceModel Read(ModelInput const& mesh,
                                        KetSDK::MeshJobs::Context const& context) const;

private:
    std::string m_file;
    FrameOption m_frame;
};

} // namespace ketmesh
