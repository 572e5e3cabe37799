// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/SurfaceInput.h>

namespace ketmesh {

CLI::Option* SurfaceInput::Declare(Command& owner, CLI::App& command) {
    owner.DeclareInput(m_file);
    CLI::Option* const file =
        command
            .add_option("--surface", m_file,
                        "Surface, in the coordinates and the unit of the mesh: .vtp, .stl, .ply or .obj")
            ->type_name("FILE");
    m_frame.Declare(
        command, "--surface-frame",
        "Frame of the coordinates of the surface, which is turned into that of the mesh (default: what its "
        "file says)");
    return file;
}

KetSDK::MeshJobs::SurfaceModel SurfaceInput::Read(ModelInput const& mesh,
                                                  KetSDK::MeshJobs::Context const& context) const {
    KetSDK::MeshJobs::ReadOptions options = mesh.GetOptions();
    options.frame = m_frame.Get();
    if (IsGiven())
        return KetSDK::MeshJobs::ReadSurface(m_file, options, context);
    KetSDK::MeshJobs::SurfaceModel empty;
    empty.surfaces = std::make_unique<MStlBase>();
    return empty;
}

} // namespace ketmesh
