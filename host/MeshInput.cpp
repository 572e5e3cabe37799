#include <host/MeshInput.h>

#include <KetSDK/MeshVTK/GridFile.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>
#include <host/ElementKinds.h>
#include <host/FileError.h>
#include <host/MeshFile.h>
#include <host/terminal/Cancellation.h>

#include <vtkUnstructuredGrid.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace ketmesh {

namespace {

// Throws unless each element is in a sub-volume of the list and each sub-volume has its place in the list as
// its number: what the commands rely on.
void CheckSubVolumes(MMeshBase const& mesh) {
    using KetSDK::MeshVTK::Error;
    int const count = static_cast<int>(mesh.NumberOfSubVolumes());
    for (int i = 0; i < count; ++i)
        if (int const number = (*(mesh.BeginSubVolume() + i))->GetID(); number != i)
            throw Error("sub-volume " + std::to_string(i) + " has the number " + std::to_string(number) +
                        "; its place in the list would be right");
    auto const* const numbers = std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask();
    std::uint64_t element = 0;
    for (MMeshElement const& e : mesh.Elements()) {
        int const number = numbers ? numbers->GetValue(e) : -1;
        if (number == -1)
            throw Error("element " + std::to_string(element) +
                        " is in no sub-volume; --labels can make sub-volumes of an array");
        if (number < 0 || number >= count)
            throw Error("element " + std::to_string(element) + " is in sub-volume " + std::to_string(number) +
                        ", but there are " + std::to_string(count) + ", numbered from 0");
        ++element;
    }
}

} // namespace

CLI::Option* MeshInput::Declare(CLI::App& command) {
    CLI::Option* const file =
        command.add_option("file", m_file, "Volume mesh to read: .kmesh, .vtu or .vtk")->required();
    command.add_option("--labels", m_labels,
                       "Cell array of integers whose values become the sub-volumes. Without it: those that a "
                       ".kmesh file has, the arrays subvolume and subvolume_names, or else the array label");
    command
        .add_option("--unit", m_unit,
                    "Unit of length of the files (mm unless given); .kmesh files are in mm by themselves")
        ->check(CLI::IsMember({"m", "mm", "um"}));
    command.add_flag("--allow-merged", m_limits.allow_merged,
                     "Accept different points that become one when rounded to 1/65536 mm");
    command.add_flag("--allow-out-of-range", m_limits.allow_out_of_range,
                     "Accept points beyond +-32768 mm, which are moved to that limit");
    return file;
}

MeshInput MeshInput::WithFile(std::string const& file) const {
    MeshInput other = *this;
    other.m_file = file;
    return other;
}

MeshInput::Loaded MeshInput::Load(Progress const& progress) const {
    return ForFile(m_file, [this, &progress] {
        KetSDK::MeshVTK::CheckInputFile(m_file, ".kmesh, .vtu or .vtk");
        CheckVolumeMeshName(m_file, "read from");
        Loaded loaded = IsMeshFileName(m_file) ? _LoadMeshFile(progress) : _LoadGridFile(progress);
        ThrowIfCancelled();
        return loaded;
    });
}

MeshInput::Loaded MeshInput::_LoadMeshFile(Progress const& progress) const {
    MMeshFile::Content content = ReadMeshFile(m_file, progress);
    ThrowIfCancelled();
    Loaded loaded;
    loaded.mesh = std::move(content.mesh);
    loaded.fields = std::move(content.fields);
    loaded.grid = KetSDK::MeshVTK::GridFromMesh(*loaded.mesh, GetUnit(), nullptr);
    KetSDK::MeshVTK::AddArrays(*loaded.grid, content.arrays);
    if (m_labels.empty())
        CheckSubVolumes(*loaded.mesh);
    else
        KetSDK::MeshVTK::SetSubvolumesByLabels(*loaded.mesh, *loaded.grid, m_labels);
    return loaded;
}

MeshInput::Loaded MeshInput::_LoadGridFile(Progress const& progress) const {
    auto const grid = KetSDK::MeshVTK::ReadGridFile(m_file, progress);
    ThrowIfCancelled();
    return MakeMesh(grid, progress);
}

MeshInput::Loaded MeshInput::MakeMesh(vtkUnstructuredGrid* grid, Progress const& progress) const {
    KetSDK::MeshVTK::MeshFromGridOptions options;
    options.unit = GetUnit();
    options.labels = m_labels;
    options.limits = m_limits;
    options.progress = progress;
    Loaded loaded;
    loaded.grid = grid;
    loaded.mesh = KetSDK::MeshVTK::MeshFromGrid(*grid, options, &loaded.rounding);
    return loaded;
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
