// SPDX-License-Identifier: BSD-3-Clause
#include "Record.h"
#include "Run.h"
#include "Words.h"

#include <KetSDK/MeshJobs/CaseFile.h>
#include <KetSDK/MeshJobs/Export.h>
#include <KetSDK/MeshJobs/Results.h>
#include <KetSDK/MeshJobs/Solve.h>

#include <optional>

namespace ketmesh {

namespace {

using namespace KetSDK::MeshJobs;
using KetSDK::MeshSolver::DeckOptions;
using KetSDK::MeshSolver::MaterialsAs;
using KetSDK::MeshSolver::Renaming;

MaterialsAs MaterialsNamed(std::string const& word) {
    return Named<MaterialsAs>(
        {{"bins", MaterialsAs::Bins}, {"elements", MaterialsAs::Elements}, {"nodes", MaterialsAs::Nodes}},
        word, "materials");
}

ExportResult ExportDeck(SharedModel& shared, std::string const& path, CaseFile const* load_case,
                        std::string const& materials, std::string const& dialect, bool split,
                        bool original_ids) {
    ExportOptions options;
    if (load_case)
        options.load_case = *load_case;
    options.materials = MaterialsNamed(materials);
    using Dialect = DeckOptions::Dialect;
    options.dialect =
        Named<Dialect>({{"ccx", Dialect::CalculiX}, {"abaqus", Dialect::Abaqus}}, dialect, "dialect");
    options.split = split;
    options.original_ids = original_ids;
    DeckFiles files = OpenDeckFiles(path, options);
    return Call().Run(shared, [&](Model const& model, Context const& context) {
        return Export(model, files, options, context);
    });
}

SolveResult SolveModel(SharedModel& shared, CaseFile const& load_case, std::string const& materials,
                       std::string const& solver, double timeout, std::string const& keep,
                       std::string const& temporary, std::string const& path, int threads) {
    SolveOptions options;
    options.load_case = load_case;
    options.materials = MaterialsNamed(materials);
    using Method = DeckOptions::Method;
    options.method =
        Named<Method>({{"auto", Method::Auto}, {"direct", Method::Direct}, {"iterative", Method::Iterative}},
                      solver, "solver");
    options.timeout = timeout;
    options.keep = keep;
    options.temporary = temporary;
    options.path = path;
    return Call(threads).Run(
        shared, [&](Model& model, Context const& context) { return Solve(model, options, context); });
}

std::vector<std::string> PlacesOf(CaseFile const& load_case) {
    std::vector<std::string> names;
    for (auto const& place : load_case.content.places)
        names.push_back(place.name);
    return names;
}

void AddSolverReports(py::module_& module) {
    Record<ExportResult::Set>(module, "DeckSet", "A set of a deck.")
        .Field("name", &ExportResult::Set::name, "as the model or the case has it")
        .Field("deck", &ExportResult::Set::deck, "as the deck has it")
        .Field("nodes", &ExportResult::Set::nodes, "how many there are")
        .Field("faces", &ExportResult::Set::faces, "how many there are");
    Record<Renaming>(module, "DeckName", "A name that decks cannot have.")
        .Field("kind", &Renaming::kind, "\"subvolume\", \"surface\" or \"place\"")
        .Field("name", &Renaming::name, "as the model or the case has it")
        .Field("deck", &Renaming::deck, "as the deck has it");
    Record<ExportResult>(module, "Export", "What was written for a solver.")
        .Field("elements", &ExportResult::elements, "how many there are")
        .Field("nodes", &ExportResult::nodes, "without those of no element")
        .Field("materials", &ExportResult::materials, "how many there are")
        .Field("surfaces", &ExportResult::surfaces, "list of DeckSet")
        .Field("places", &ExportResult::places, "list of DeckSet")
        .Field("names", &ExportResult::names, "list of DeckName")
        .Field("files", &ExportResult::files, "paths");
    Record<ResultsReport>(module, "SolverResults", "What a file of results held.")
        .Field("step", &ResultsReport::step, "number of the step")
        .Field("time", &ResultsReport::time, "s")
        .Field("arrays", &ResultsReport::arrays, "names of the point arrays that the mesh got")
        .Field("max_displacement", &ResultsReport::max_displacement, "mm; None without displacements")
        .Field("max_von_mises", &ResultsReport::max_von_mises, "MPa; None without stresses");
    Record<SolveResult>(module, "Solve", "How a model was solved.")
        .Field("applied", &SolveResult::applied, "N: sum of all loads")
        .Field("reaction", &SolveResult::reaction, "N: sum of what holds the model")
        .Field(
            "reactions",
            [](SolveResult const& r) {
                py::dict reactions;
                for (auto const& [place, force] : r.reactions)
                    reactions[py::str(place)] = force;
                return reactions;
            },
            "N: by place, in the order of the case")
        .Field("balance", &SolveResult::balance, "part of the loads that reactions do not balance, or None")
        .Field("max_displacement", &SolveResult::max_displacement, "mm")
        .Field("max_von_mises", &SolveResult::max_von_mises, "MPa")
        .Field("unknowns", &SolveResult::unknowns, "how many there are")
        .Field("solver_version", &SolveResult::solver_version, "of CalculiX")
        .Field("is_iterative", &SolveResult::is_iterative, "how the equations were solved")
        .Field("solver_seconds", &SolveResult::solver_seconds, "s");
}

} // namespace

void AddSolverJobs(py::module_& module) {
    AddSolverReports(module);
    py::class_<CaseFile> cases(module, "CaseFile", "What holds and loads a model, inside the library.");
    cases.def_readonly("file", &CaseFile::file).def_property_readonly("places", &PlacesOf);
    CopyIsItself(cases);
    cases.def(py::pickle([](CaseFile const& of) { return py::make_tuple(of.file, of.text); },
                         [](py::tuple const& state) {
                             CaseFile made = MakeCase(state[1].cast<std::string>());
                             made.file = state[0].cast<std::string>();
                             return made;
                         }));
    module.def("read_case", &ReadCaseFile, py::arg("path"));
    module.def("make_case", &MakeCase, py::arg("text"));
    module.def("export_deck", &ExportDeck, py::arg("model"), py::arg("path"), py::arg("case").none(true),
               py::arg("materials"), py::arg("dialect"), py::arg("split"), py::arg("original_ids"));
    module.def("solve", &SolveModel, py::arg("model"), py::arg("case"), py::arg("materials"),
               py::arg("solver"), py::arg("timeout"), py::arg("keep"), py::arg("temporary"), py::arg("path"),
               py::arg("threads"));
    module.def(
        "results",
        [](SharedModel& m, std::string const& file, std::optional<int> step) {
            return Call().Run(m, [&](Model& model, Context const& context) {
                return Results(model, file, ResultsOptions{step}, context);
            });
        },
        py::arg("model"), py::arg("file"), py::arg("step"));
}

} // namespace ketmesh
