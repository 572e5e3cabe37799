#include <host/MeshInput.h>

#include <KetSDK/MeshVTK/GridFile.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>
#include <host/Cancellation.h>
#include <host/ElementKinds.h>
#include <host/FileError.h>

#include <vtkUnstructuredGrid.h>

#include <cstddef>

namespace ketmesh {

CLI::Option* MeshInput::Declare(CLI::App& command) {
    CLI::Option* const file =
        command.add_option("file", m_file, "Volume mesh to read: .vtu or .vtk")->required();
    command.add_option("--labels", m_labels,
                       "Cell array of integers whose values become the sub-volumes. Without it: the arrays "
                       "subvolume and subvolume_names, or else the array label");
    command.add_option("--unit", m_unit, "Unit of length of the files (mm unless given)")
        ->check(CLI::IsMember({"m", "mm", "um"}));
    command.add_flag("--allow-merged", m_limits.allow_merged,
                     "Accept different points that become one when rounded to 1/65536 mm");
    command.add_flag("--allow-out-of-range", m_limits.allow_out_of_range,
                     "Accept points beyond +-32768 mm, which are moved to that limit");
    return file;
}

MeshInput::Loaded MeshInput::Load(Progress const& progress) const {
    return ForFile(m_file, [this, &progress] {
        KetSDK::MeshVTK::MeshFromGridOptions options;
        options.unit = GetUnit();
        options.labels = m_labels;
        options.limits = m_limits;
        options.progress = progress;
        Loaded loaded;
        loaded.grid = KetSDK::MeshVTK::ReadGridFile(m_file, progress);
        ThrowIfCancelled();
        loaded.mesh = KetSDK::MeshVTK::MeshFromGrid(*loaded.grid, options, &loaded.rounding);
        ThrowIfCancelled();
        return loaded;
    });
}

MeshInput::Loaded MeshInput::LoadTetrahedra(Progress const& progress) const {
    Loaded loaded = Load(progress);
    RequireTetrahedra(*loaded.mesh, m_file);
    return loaded;
}

KetSDK::MeshVTK::LengthUnit MeshInput::GetUnit() const {
    return KetSDK::MeshVTK::LengthUnit::FromName(m_unit);
}

Json BoxOf(MMeshBase const& mesh) {
    std::unique_ptr<MMeshBase::BoundingBoxDouble> const box(mesh.GetBoundingBoxDouble());
    Json numbers = Json::array();
    for (auto const& corner : {box->GetMin(), box->GetMax()})
        for (std::size_t i = 0; i < 3; ++i)
            numbers.push_back(corner[i]);
    return numbers;
}

} // namespace ketmesh
