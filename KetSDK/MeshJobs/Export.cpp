// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Export.h>

#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/AnalysisOf.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/MeshSolver/FebWriter.h>
#include <KetSDK/MeshVTK/InputFile.h>

#include <algorithm>
#include <filesystem>

namespace KetSDK::MeshJobs {

namespace {

using MeshSolver::Analysis;

bool IsFeb(std::filesystem::path const& path) {
    return MeshVTK::LowerCaseEnding(path) == ".feb";
}

void CheckDeckOptions(std::filesystem::path const& path, ExportOptions const& options) {
    std::string const ending = MeshVTK::LowerCaseEnding(path);
    if (ending != ".inp" && ending != ".feb")
        throw MeshVTK::Error("decks are written to .inp (CalculiX, Abaqus) and .feb (FEBio) files only");
    if (options.split && ending != ".inp")
        throw MeshVTK::Error("only .inp files are split");
    if (options.split && !options.load_case)
        throw MeshVTK::Error("without a case there is no step to split off; --case names one");
    if (ending == ".feb" && options.materials == MeshSolver::MaterialsAs::Nodes)
        throw MeshVTK::Error(
            "moduli that vary inside elements are written to .inp only; --materials elements "
            "gives each element of a .feb its own");
}

// "head-case.inp" beside "head.inp".
std::filesystem::path StepPath(std::filesystem::path const& deck) {
    std::filesystem::path name = deck.stem();
    name += "-case";
    name += deck.extension();
    return deck.parent_path() / name;
}

std::vector<ExportResult::Set> Report(std::vector<Analysis::Surface> const& surfaces) {
    std::vector<ExportResult::Set> sets;
    sets.reserve(surfaces.size());
    for (Analysis::Surface const& surface : surfaces)
        sets.push_back({surface.name, surface.deck, surface.nodes.size(), surface.faces.size()});
    return sets;
}

void Write(Analysis const& analysis, DeckFiles& files, ExportOptions const& options, Context const& context) {
    std::filesystem::path const& path = files.deck.GetTemporaryPath();
    if (IsFeb(files.deck.GetPath())) {
        MeshSolver::WriteFeb(analysis, path, context.progress);
        return;
    }
    Detail::WithThreads(context, [&](bool parallel) {
        MeshSolver::DeckOptions how;
        how.dialect = options.dialect;
        how.parallel = parallel;
        if (files.step)
            MeshSolver::WriteSplitDeck(analysis, how, path, files.deck.GetPath().filename().string(),
                                       files.step->GetTemporaryPath(), context.progress);
        else
            MeshSolver::WriteDeck(analysis, how, path, context.progress);
    });
}

} // namespace

DeckFiles OpenDeckFiles(std::string const& path, ExportOptions const& options) {
    return Detail::ForFile(path, [&] {
        CheckDeckOptions(path, options);
        DeckFiles files{MeshVTK::OutputFile(path), std::nullopt};
        if (options.split)
            files.step.emplace(StepPath(path));
        return files;
    });
}

ExportResult Export(Model const& model, DeckFiles& files, ExportOptions const& options,
                    Context const& context) {
    Analysis const analysis = Detail::AnalysisOf(
        model, {options.load_case ? &*options.load_case : nullptr, options.materials, options.original_ids},
        context);
    if (files.step && !analysis.HasStep())
        throw FileError(options.load_case->file,
                        "it only names places, so that there is no step to split off");
    ExportResult result;
    std::string const path = files.deck.GetPath().string();
    Detail::WritingFile(path, context, [&] {
        Write(analysis, files, options, context);
        context.ThrowIfCancelled();
        result.files.push_back(path);
        if (files.step)
            result.files.push_back(files.step->GetPath().string());
        files.deck.Finish();
        if (files.step) {
            files.step->Finish();
            files.step->Commit();
        }
        files.deck.Commit();
    });
    result.elements = analysis.subvolume_of.size();
    result.nodes = static_cast<std::uint64_t>(std::ranges::count(analysis.used_nodes, true));
    result.materials = analysis.materials.materials.size();
    result.surfaces = Report(analysis.surfaces);
    result.places = Report(analysis.places);
    result.names = analysis.renamings;
    return result;
}

} // namespace KetSDK::MeshJobs
