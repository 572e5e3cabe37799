#include <host/SurfaceInput.h>

#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <host/FileError.h>

namespace ketmesh {

CLI::Option* SurfaceInput::Declare(CLI::App& command) {
    return command
        .add_option("--surface", m_file,
                    "Surface, in the coordinates and the unit of the mesh: .vtp, .stl, .ply or .obj")
        ->type_name("FILE");
}

std::unique_ptr<MStlBase> SurfaceInput::Load(MeshInput const& mesh, Progress const& progress) const {
    if (!IsGiven())
        return std::make_unique<MStlBase>();
    return ForFile(m_file, [&] {
        KetSDK::MeshVTK::SurfaceFromPolyDataOptions options;
        options.unit = mesh.GetUnit();
        options.limits = mesh.GetLimits();
        return KetSDK::MeshVTK::ReadSurfaceFile(m_file, options, progress, nullptr);
    });
}

} // namespace ketmesh
