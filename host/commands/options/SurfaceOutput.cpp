// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/SurfaceOutput.h>

namespace ketmesh {

CLI::Option* SurfaceOutput::Declare(Command& owner, CLI::App& command, std::string const& description) {
    m_owner = &owner;
    owner.DeclareOutput();
    return command.add_option("-o,--output", m_file, description + ": .vtp, .stl, .ply or .obj");
}

void SurfaceOutput::Open(Files files) {
    m_files = files;
    if (!IsGiven())
        return;
    if (files == Files::One)
        m_output.emplace(KetSDK::MeshJobs::OpenSurfaceFile(m_file));
    else
        KetSDK::MeshJobs::CheckSurfaceFileNames(m_file);
}

void SurfaceOutput::Write(KetSDK::MeshJobs::SurfaceModel const& surface,
                          KetSDK::MeshJobs::SurfaceWriteOptions const& options,
                          KetSDK::MeshJobs::Context const& context) {
    if (!IsGiven())
        return;
    if (m_files == Files::OneForEachSurface) {
        for (std::string const& file : KetSDK::MeshJobs::WriteSurfaces(surface, m_file, options, context))
            m_owner->AddFile(file);
        return;
    }
    KetSDK::MeshJobs::WriteSurface(surface, *m_output, options, context);
    m_owner->AddFile(m_file);
}

} // namespace ketmesh
