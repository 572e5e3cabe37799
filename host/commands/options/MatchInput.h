// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <host/commands/options/SurfaceInput.h>

#include <string>

namespace ketmesh {

// The options with which a command reads a surface and holds it against its mesh.
class MatchInput {
public:
    // Declares --surface and --tolerance; returns the option of the surface's file name.
    CLI::Option* Declare(Command& owner, CLI::App& command);

    bool IsGiven() const noexcept { return m_surface.IsGiven(); }
    std::string const& GetFileName() const noexcept { return m_surface.GetFileName(); }
    double GetTolerance() const noexcept { return m_tolerance; } // mm
    // Reads the surface, which is in the unit of the mesh; without a file name it is empty.
    KetSDK::MeshJobs::SurfaceModel Read(ModelInput const& mesh,
                                        KetSDK::MeshJobs::Context const& context) const {
        return m_surface.Read(mesh, context);
    }

private:
    SurfaceInput m_surface;
    double m_tolerance = 0.001;
};

} // namespace ketmesh
