// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/ModelFile.h>

#include <KetSDK/MeshJobs/detail/DeckModel.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/FrameOfInput.h>
#include <KetSDK/MeshJobs/detail/GridModel.h>
#include <KetSDK/MeshJobs/detail/MeshFiles.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/MeshVTK/Frames.h>
#include <KetSDK/MeshVTK/GridFile.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>
#include <KetSDK/MeshVTK/Text.h>

#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace KetSDK::MeshJobs {

namespace {

constexpr char const* MeshFileEnding = ".kmesh";
constexpr char const* DeckEnding = ".inp"; // which is read, and written by jobs of its own
constexpr std::array Endings = {MeshFileEnding, ".vtu", ".vtk"};

bool IsDeckName(std::string const& path) {
    return MeshVTK::LowerCaseEnding(path) == DeckEnding;
}

bool IsModelFileName(std::string const& path) {
    return std::ranges::find(Endings, MeshVTK::LowerCaseEnding(path)) != Endings.end();
}

// Throws unless there is a sub-volume with the number that an element has.
void RequireSubVolume(std::uint64_t element, int number, std::size_t count) {
    if (number == -1)
        throw MeshVTK::Error("element " + std::to_string(element) +
                             " is in no sub-volume; --labels can make sub-volumes of an array");
    if (number < 0 || static_cast<std::size_t>(number) >= count)
        throw MeshVTK::Error("element " + std::to_string(element) + " is in sub-volume " +
                             std::to_string(number) + ", but there are " + std::to_string(count) +
                             ", numbered from 0");
}

// How many elements each sub-volume has. Throws for an element that is in none.
std::vector<std::uint64_t> CountElements(MMeshBase const& mesh) {
    std::vector<std::uint64_t> counts(mesh.NumberOfSubVolumes());
    auto const* const numbers = std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask();
    std::uint64_t element = 0, first = 0; // of those in a row that are in one sub-volume
    int last_number = -1;
    for (MMeshElement const& e : mesh.Elements()) {
        int const number = numbers ? numbers->GetValue(e) : -1;
        if (number != last_number || element == 0) {
            RequireSubVolume(element, number, counts.size());
            if (element > 0)
                counts[static_cast<std::size_t>(last_number)] += element - first;
            last_number = number;
            first = element;
        }
        ++element;
    }
    if (element > 0)
        counts[static_cast<std::size_t>(last_number)] += element - first;
    return counts;
}

// Throws unless each element is in a sub-volume of the list, and each sub-volume has its index in the list as
// its number and counts its elements: what the commands rely on.
void CheckSubVolumes(MMeshBase const& mesh) {
    std::vector<std::uint64_t> const counts = CountElements(mesh);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        MMeshSubVolume const& sub_volume = **(mesh.BeginSubVolume() + static_cast<std::ptrdiff_t>(i));
        std::string const what = "sub-volume " + std::to_string(i);
        if (sub_volume.GetID() != static_cast<int>(i))
            throw MeshVTK::Error(what + " has the number " + std::to_string(sub_volume.GetID()) +
                                 "; its index in the list would be right");
        auto const said = static_cast<std::int64_t>(sub_volume.GetNbElements());
        if (said != static_cast<std::int64_t>(counts[i]))
            throw MeshVTK::Error(what + " (" + MeshVTK::ToUtf8(sub_volume.GetName()) + ") is said to have " +
                                 std::to_string(said) + " elements, but " + std::to_string(counts[i]) +
                                 (counts[i] == 1 ? " has" : " have") +
                                 " its number; the program that wrote the file has to count again");
    }
}

Model ReadMeshFile(std::string const& path, ReadOptions const& options, Context const& context) {
    Model model;
    try {
        model = Detail::LoadMeshFile(path, context);
    } catch (MMeshFileError const& e) {
        throw MeshVTK::Error(Detail::DescribeFault(e));
    }
    if (model.mesh->NumberOfElements() == 0)
        throw MeshVTK::Error("the mesh has no elements");
    std::ranges::for_each(model.arrays, MeshVTK::CheckArray);
    if (options.labels.empty())
        CheckSubVolumes(*model.mesh);
    else
        MeshVTK::SetSubvolumesByLabels(*model.mesh, model.arrays, options.labels);
    return model;
}

Model ReadGridFile(std::string const& path, ReadOptions const& options, Context const& context) {
    vtkSmartPointer<vtkUnstructuredGrid> grid;
    Detail::WithThreads(
        context, [&](bool parallel) { grid = MeshVTK::ReadGridFile(path, context.progress, parallel); });
    context.ThrowIfCancelled();
    Context named = context;
    named.warn = [&](std::string const& message) { context.Warn(path + ": " + message); };
    return Detail::ModelFromGrid(*grid, options, named);
}

void WriteMeshFile(Model const& model, MeshVTK::OutputFile& file, MMeshFile::Encoding encoding,
                   Context const& context) {
    try {
        Detail::SaveMeshFile(model, file.GetTemporaryPath(), encoding, context);
    } catch (MMeshFileError const& e) {
        if (e.GetFault() == MMeshFileError::BadContent)
            throw MeshVTK::Error("the mesh cannot be saved: it contradicts itself");
        throw MeshVTK::Error(Detail::DescribeFault(e));
    }
    file.Commit();
}

} // namespace

bool IsMeshFileName(std::string const& path) {
    return MeshVTK::LowerCaseEnding(path) == MeshFileEnding;
}

Model ReadModel(std::string const& path, ReadOptions const& options, Context const& context) {
    return Detail::ReadingFile(path, context, [&] {
        MeshVTK::CheckInputFile(path, ".kmesh, .vtu, .vtk or .inp");
        if (!IsModelFileName(path) && !IsDeckName(path))
            throw MeshVTK::Error(
                "volume meshes are read from .kmesh, .vtu and .vtk files and decks (.inp) only");
        Model model = IsMeshFileName(path) ? ReadMeshFile(path, options, context)
                      : IsDeckName(path)   ? Detail::ReadDeckModel(path, options, context)
                                           : ReadGridFile(path, options, context);
        context.ThrowIfCancelled();
        model.file = path;
        model.frame =
            Detail::FrameOfInput(model.frame, options.frame, "--frame", path, model.arrays, context);
        model.frame_is_given = options.frame.has_value();
        return model;
    });
}

MeshVTK::OutputFile OpenModelFile(std::string const& path, WriteOptions const& options) {
    return Detail::ForFile(path, [&] {
        if (!IsModelFileName(path))
            throw MeshVTK::Error(
                "volume meshes are written to .kmesh, .vtu and .vtk files only; ketmesh export "
                "writes .inp and .feb");
        if (options.encoding == MMeshFile::Text && !IsMeshFileName(path))
            throw MeshVTK::Error("only .kmesh files are written as text");
        return MeshVTK::OutputFile(path);
    });
}

void WriteModel(Model const& model, MeshVTK::OutputFile& file, WriteOptions const& options,
                Context const& context) {
    std::string const path = file.GetPath().string();
    Detail::WritingFile(path, context, [&] {
        if (IsMeshFileName(path)) {
            WriteMeshFile(model, file, options.encoding, context);
            return;
        }
        vtkSmartPointer<vtkUnstructuredGrid> grid;
        Detail::WithThreads(context, [&](bool parallel) {
            grid = MeshVTK::GridFromMesh(*model.mesh, options.unit, model.arrays, parallel);
        });
        if (model.frame)
            MeshVTK::SetFrame(*grid, model.frame);
        MeshVTK::WriteGridFile(*grid, file, context.progress);
    });
}

void WriteModel(Model const& model, std::string const& path, WriteOptions const& options,
                Context const& context) {
    MeshVTK::OutputFile file = OpenModelFile(path, options);
    WriteModel(model, file, options, context);
}

} // namespace KetSDK::MeshJobs
