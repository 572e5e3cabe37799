// SPDX-License-Identifier: BSD-3-Clause
// Decks of solvers and their results: written and read, and the memory that reading takes. VTK has nothing
// for this.
#include "Jobs.h"
#include "LoadedPeak.h"

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshSolver/Analysis.h>
#include <KetSDK/MeshSolver/DeckWriter.h>
#include <KetSDK/MeshSolver/FrdFile.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace Bench {
namespace {

using namespace KetSDK::MeshSolver;

std::string PathOf(std::string const& name) {
    static MTemporaryDirectory const folder;
    return folder.GetPath().GetString() + "/" + name;
}

// The mesh with one material.
Analysis AnalysisOf(Case& c) {
    MMeshBase& mesh = c.Mesh();
    AnalysisInput input;
    input.mesh = &mesh;
    input.parallel = IsParallel();
    for (std::uint64_t i = 0; i < mesh.NumberOfSubVolumes(); ++i)
        input.subvolumes.push_back("Label " + std::to_string(i + 1));
    MMeshMaterial material;
    material.SetID(1);
    material.SetEmodulus(1000.0);
    material.SetPoisson(0.3);
    material.SetDensity(1.0);
    mesh.GetMaterialCatalog().Clear();
    mesh.GetMaterialCatalog().AddMaterial(material);
    for (MMeshElement const& e : mesh.Elements())
        mesh.GetElementMasks()->GetMaterialMask()->SetValue(e, 1);
    return MakeAnalysis(input);
}

void WriteDeckOf(Analysis const& analysis) {
    DeckOptions options;
    options.parallel = IsParallel();
    WriteDeck(analysis, options, PathOf("model.inp"), nullptr);
}

// Adds the job of writing alone: making the analysis is another one.
void AddDeckWriting(Recipe const& recipe) {
    auto const analysis = std::make_shared<Analysis>();
    AddWay(
        recipe, "deck_write", Ours,
        [analysis](Case& c) {
            *analysis = AnalysisOf(c);
            std::filesystem::remove(PathOf("model.inp")); // to write over it may wait for the disk
        },
        [analysis](Case&) {
            WriteDeckOf(*analysis);
            return std::filesystem::file_size(PathOf("model.inp"));
        },
        [analysis](Case&, std::uintmax_t) {
            *analysis = {}; // it is about as large as the mesh
            return std::optional<double>();
        });
}

// A block of results as CalculiX writes it: numbers of nodes in ten columns, values in twelve.
void WriteField(std::FILE* file, std::size_t nodes, char const* name, int components) {
    std::fprintf(file, "  100CL  101 1.000000000%12zu%20s%2d%5d%10s%2d\n", nodes, "", 0, 1, "", 1);
    std::fprintf(file, " -4  %-8s%5d%5d\n", name, components, 1);
    for (std::size_t i = 0; i < nodes; ++i) {
        std::fprintf(file, " -1%10zu", i + 1);
        for (int k = 0; k < components; ++k)
            std::fprintf(file, "%12.5E", 1e-3 * static_cast<double>(i) - k);
        std::fputs("\n", file);
    }
    std::fputs(" -3\n", file);
}

void WriteFrdOf(Case& c) {
    std::FILE* const file = std::fopen(PathOf("model.frd").c_str(), "w");
    if (!file)
        throw std::runtime_error("no file for results");
    auto const& points = c.elements.points;
    std::fprintf(file, "    1C\n    2C%18s%12zu%37s1\n", "", points.size(), "");
    for (std::size_t i = 0; i < points.size(); ++i)
        std::fprintf(file, " -1%10zu%12.5E%12.5E%12.5E\n", i + 1, points[i][0] / 65536.0,
                     points[i][1] / 65536.0, points[i][2] / 65536.0);
    std::fputs(" -3\n", file);
    WriteField(file, points.size(), "DISP", 3);
    WriteField(file, points.size(), "STRESS", 6);
    WriteField(file, points.size(), "TOSTRAIN", 6);
    WriteField(file, points.size(), "FORC", 3);
    std::fputs(" 9999\n", file);
    std::fclose(file);
}

FrdResult ReadFrdOf(Case& c) {
    FrdOptions options;
    options.nodes = c.elements.points.size();
    options.index_of = [](std::int32_t id) { return std::optional(static_cast<std::size_t>(id) - 1); };
    options.position_of = [&c](std::size_t i) {
        auto const& p = c.elements.points[i];
        return std::array<double, 3>{p[0] / 65536.0, p[1] / 65536.0, p[2] / 65536.0};
    };
    options.parallel = IsParallel();
    return ReadFrd(PathOf("model.frd"), options);
}

std::shared_ptr<KetSDK::MeshJobs::Model> ReadDeckOf(Case&) {
    using namespace KetSDK::MeshJobs;
    Context context;
    context.threads = IsParallel() ? 0 : 1;
    return std::make_shared<Model>(ReadModel(PathOf("model.inp"), {}, context));
}

} // namespace

void AddSolverJobs(Recipe const& recipe) {
    auto const write_deck = [](Case& c) { WriteDeckOf(AnalysisOf(c)); };
    AddWay(
        recipe, "deck_prepare", Ours, NothingToPrepare, [](Case& c) { return AnalysisOf(c); }, NoAnswer);
    AddDeckWriting(recipe);
    AddWay(recipe, "deck_read", Ours, write_deck, ReadDeckOf, NoAnswer);
    AddWay(recipe, "frd_read", Ours, WriteFrdOf, ReadFrdOf, NoAnswer);
    AddPeak(recipe, "deck_read_peak", Ours, write_deck, ReadDeckOf);
    AddPeak(recipe, "frd_read_peak", Ours, WriteFrdOf, ReadFrdOf);
}

} // namespace Bench
