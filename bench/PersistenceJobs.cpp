// SPDX-License-Identifier: BSD-3-Clause
// Whole meshes to a file and back, and the memory that it takes to load one. Files lie in a temporary folder:
// what is timed is the work of the processor, with the file in memory.
#include "Jobs.h"
#include "LoadedPeak.h"

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/FileIO/SAX/MStreamMFileIn.h>
#include <KetSDK/FileIO/SAX/MStreamMFileOut.h>
#include <KetSDK/Mesh/persistence/MMeshFile.h>

#include <vtkXMLUnstructuredGridReader.h>
#include <vtkXMLUnstructuredGridWriter.h>

#include <filesystem>
#include <stdexcept>

namespace Bench {
namespace {

using Grid = vtkSmartPointer<vtkUnstructuredGrid>;

std::string PathOf(std::string const& name) {
    static MTemporaryDirectory const folder;
    return folder.GetPath().GetString() + "/" + name;
}

void SaveMesh(MMeshBase const& mesh, MMeshFile::Encoding encoding) {
    MMeshFile::Save(mesh, {}, PathOf("mesh"), encoding, nullptr, {}, IsParallel());
}

std::unique_ptr<MMeshBase> LoadMesh() {
    return MMeshFile::Load(PathOf("mesh"), nullptr, IsParallel()).mesh;
}

void SaveState(MMeshBase& mesh) {
    MFile file(PathOf("mesh"), MFile::Mode::Write);
    MStreamMFileOut out(file);
    mesh.SaveState(out);
    if (!file.Close())
        throw std::runtime_error("cannot write " + PathOf("mesh"));
}

std::unique_ptr<MMeshBase> LoadState() {
    auto mesh = std::make_unique<MMeshBase>();
    MFile file(PathOf("mesh"), MFile::Mode::Read);
    MStreamMFileIn in(file);
    mesh->LoadState(in);
    return mesh;
}

using Compressor = vtkXMLWriter::CompressorType;

void SaveGrid(Grid const& grid, int mode, Compressor compressor) {
    auto const writer = vtkSmartPointer<vtkXMLUnstructuredGridWriter>::New();
    writer->SetFileName(PathOf("grid.vtu").c_str());
    writer->SetInputData(grid);
    writer->SetDataMode(mode);
    writer->EncodeAppendedDataOff();
    writer->SetCompressorType(compressor);
    writer->Write();
}

Grid LoadGrid() {
    auto const reader = vtkSmartPointer<vtkXMLUnstructuredGridReader>::New();
    reader->SetFileName(PathOf("grid.vtu").c_str());
    reader->Update();
    return reader->GetOutput();
}

double CountOf(std::unique_ptr<MMeshBase> const& mesh) {
    return mesh->NumberOfElements();
}
double CountOf(Grid const& grid) {
    return static_cast<double>(grid->GetNumberOfCells());
}

// A way to save with `save` and to load with `load`, and how large `file` is then.
template <typename Save, typename Load>
void AddSaveAndLoad(Recipe const& recipe, std::string const& job, std::string const& way,
                    std::string const& file, Save save, Load load) {
    // To write over a file that is there may wait for the disk, or has the system write it out while it is
    // loaded. The clock would count that.
    auto const make_way = [file](Case&) { std::filesystem::remove(PathOf(file)); };
    AddWay(
        recipe, "save_" + job, way, make_way,
        [save](Case& c) {
            save(c);
            return 0;
        },
        NoAnswer);
    AddWay(
        recipe, "load_" + job, way,
        [make_way, save](Case& c) {
            make_way(c);
            save(c);
        },
        [load](Case&) { return load(); },
        [](Case&, auto const& loaded) { return std::optional(CountOf(loaded)); });
    AddMemory(recipe, "file_" + job, way, [save, file](Case& c) {
        save(c);
        return static_cast<double>(std::filesystem::file_size(PathOf(file)));
    });
}

} // namespace

void AddPersistenceJobs(Recipe const& recipe) {
    auto const binary = [](Case& c) { SaveMesh(c.Mesh(), MMeshFile::Binary); };
    auto const text = [](Case& c) { SaveMesh(c.Mesh(), MMeshFile::Text); };
    auto const state = [](Case& c) { SaveState(c.Mesh()); };
    auto const grid = [](int mode, Compressor compressor) {
        return [mode, compressor](Case& c) { SaveGrid(c.Grid(), mode, compressor); };
    };
    auto const raw = grid(vtkXMLWriter::Appended, vtkXMLWriter::NONE);
    auto const zlib = grid(vtkXMLWriter::Appended, vtkXMLWriter::ZLIB);
    auto const lz4 = grid(vtkXMLWriter::Appended, vtkXMLWriter::LZ4);
    auto const ascii = grid(vtkXMLWriter::Ascii, vtkXMLWriter::NONE);
    AddSaveAndLoad(recipe, "binary", Ours, "mesh", binary, LoadMesh);
    AddSaveAndLoad(recipe, "binary", "raw .vtu", "grid.vtu", raw, LoadGrid);
    AddSaveAndLoad(recipe, "binary", "zlib .vtu", "grid.vtu", zlib, LoadGrid);
    AddSaveAndLoad(recipe, "binary", "LZ4 .vtu", "grid.vtu", lz4, LoadGrid);
    AddSaveAndLoad(recipe, "text", Ours, "mesh", text, LoadMesh);
    AddSaveAndLoad(recipe, "text", "ASCII .vtu", "grid.vtu", ascii, LoadGrid);
    AddSaveAndLoad(recipe, "state", Ours, "mesh", state, LoadState);
    auto const load_mesh = [](Case&) { return LoadMesh(); };
    auto const load_grid = [](Case&) { return LoadGrid(); };
    AddPeak(recipe, "load_peak", "binary", binary, load_mesh);
    AddPeak(recipe, "load_peak", "text", text, load_mesh);
    AddPeak(recipe, "load_peak", "state", state, [](Case&) { return LoadState(); });
    AddPeak(recipe, "load_peak", "raw .vtu", raw, load_grid);
    AddPeak(recipe, "load_peak", "zlib .vtu", zlib, load_grid);
}

} // namespace Bench
