// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/CaseFile.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/MeshJobsExport.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshSolver/DeckNames.h>
#include <KetSDK/MeshSolver/DeckWriter.h>
#include <KetSDK/MeshSolver/Materials.h>
#include <KetSDK/MeshVTK/OutputFile.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

struct ExportOptions {
    std::optional<CaseFile> load_case; // without it the deck holds no step
    MeshSolver::MaterialsAs materials = MeshSolver::MaterialsAs::Bins;
    MeshSolver::DeckOptions::Dialect dialect = MeshSolver::DeckOptions::Dialect::CalculiX; // of .inp
    bool split = false;        // of .inp: the step in a file of its own, which includes the deck
    bool original_ids = false; // number nodes and elements by their original identifiers
};

// The files that a model is exported to. They take their names when they are whole.
struct DeckFiles {
    MeshVTK::OutputFile deck;
    std::optional<MeshVTK::OutputFile> step; // of a deck that is split
};
// Opens the files: before the work, which would be for nothing when they cannot be written. Throws FileError
// for a name with another ending than .inp and .feb, for options that do not go with it, and for a place that
// cannot be written to.
KETSDK_MESHJOBS_API DeckFiles OpenDeckFiles(std::string const& path, ExportOptions const& options);

struct ExportResult {
    struct Set {
        std::string name; // in UTF-8, as the model or the case has it
        std::string deck;
        std::uint64_t nodes = 0;
        std::uint64_t faces = 0;
    };
    std::uint64_t elements = 0;
    std::uint64_t nodes = 0; // those without elements are left out
    std::uint64_t materials = 0;
    std::vector<Set> surfaces;
    std::vector<Set> places;
    std::vector<MeshSolver::Renaming> names; // that decks cannot have
    std::vector<std::string> files;
};
// Writes a model as a deck for CalculiX or Abaqus (.inp) or as a model for FEBio (.feb). Warns of linear
// tetrahedra. Throws FileError for a model that no solver takes, with what mends it, and for a case that does
// not fit the model; Cancelled.
KETSDK_MESHJOBS_API ExportResult Export(Model const& model, DeckFiles& files, ExportOptions const& options,
                                        Context const& context);

} // namespace KetSDK::MeshJobs
