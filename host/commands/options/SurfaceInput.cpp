#include <host/commands/options/SurfaceInput.h>

namespace ketmesh {

CLI::Option* SurfaceInput::Declare(Command& owner, CLI::App& command) {
    owner.DeclareInput(m_file);
    return command
        .add_option("--surface", m_file,
                    "Surface, in the coordinates and the unit of the mesh: .vtp, .stl, .ply or .obj")
        ->type_name("FILE");
}

KetSDK::MeshJobs::SurfaceModel SurfaceInput::Read(ModelInput const& mesh,
                                                  KetSDK::MeshJobs::Context const& context) const {
    if (IsGiven())
        return KetSDK::MeshJobs::ReadSurface(m_file, mesh.GetOptions(), context);
    KetSDK::MeshJobs::SurfaceModel empty;
    empty.surfaces = std::make_unique<MStlBase>();
    return empty;
}

} // namespace ketmesh
