// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Export.h>
#include <host/commands/Command.h>
#include <host/commands/options/CaseInput.h>
#include <host/commands/options/ModelInput.h>
#include <host/terminal/Choice.h>
#include <host/terminal/Table.h>

#include <ostream>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::ExportResult;
using Dialect = KetSDK::MeshSolver::DeckOptions::Dialect;

// Writes a model for a solver.
class ExportCommand : public Command {
public:
    ExportCommand()
        : Command("export", "Write a model for a finite-element solver",
                  "Decks (.inp) are for CalculiX and Abaqus, .feb files for FEBio 4. Lengths are in mm,\n"
                  "forces in N, stresses in MPa, densities in tonne/mm3. They hold nodes, elements, a set\n"
                  "for each sub-volume and material, the outer surfaces and interfaces under the names of\n"
                  "the sub-volumes, the places of the case and, when the case does more than name places,\n"
                  "a step. Nodes without elements are left out. Nodes and elements are numbered as in the\n"
                  "mesh, from 1. Names are spelled with A-Z, 0-9 and _; the report lists those that\n"
                  "change.\n\n"
                  "A case (TOML) names places and says what holds and loads them; ketmesh solve --help\n"
                  "shows one.\n\n"
                  "Examples:\n"
                  "  ketmesh export model.vtu -o model.inp --case case.toml\n"
                  "  ketmesh export model.vtu -o model.inp --case case.toml --split --dialect abaqus\n"
                  "  ketmesh export model.vtu -o model.feb --materials elements") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        DeclareOutput();
        command.add_option("-o,--output", m_file, "Deck to write: .inp (CalculiX, Abaqus) or .feb (FEBio)")
            ->required();
        m_case.Declare(*this, command);
        m_dialect.Declare(command, "--dialect", "Solver that an .inp file is for (default: ccx)");
        command.add_flag("--split", m_options.split,
                         "Write the step of an .inp file into <output>-case.inp, which includes the rest");
        command.add_flag("--original-ids", m_options.original_ids,
                         "Number nodes and elements by their original identifiers, which must be unique");
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_options.load_case = m_case.Read();
        m_options.materials = m_case.GetMaterials();
        m_options.dialect = m_dialect.Get();
        KetSDK::MeshJobs::DeckFiles files = KetSDK::MeshJobs::OpenDeckFiles(m_file, m_options);
        m_result = KetSDK::MeshJobs::Export(m_input.Read(context), files, m_options, context);
        for (std::string const& file : m_result.files)
            AddFile(file);
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        report["nodes"] = m_result.nodes;
        report["materials"] = m_result.materials;
        report["surfaces"] = ToJson(m_result.surfaces);
        report["places"] = ToJson(m_result.places);
        report["names"] = Json::array();
        for (auto const& [kind, name, deck] : m_result.names)
            report["names"].push_back({{"kind", kind}, {"name", name}, {"deck", deck}});
        return report;
    }

    static Json ToJson(std::vector<ExportResult::Set> const& sets) {
        Json list = Json::array();
        for (ExportResult::Set const& set : sets)
            list.push_back(
                {{"name", set.name}, {"deck", set.deck}, {"nodes", set.nodes}, {"faces", set.faces}});
        return list;
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_result.elements << " elements, "
            << m_result.nodes << " nodes, " << m_result.materials << " materials\n\n";
        Table table({{"surface or place", Table::Align::Left},
                     {"in the deck", Table::Align::Left},
                     {"faces", Table::Align::Right},
                     {"nodes", Table::Align::Right}});
        for (auto const* const sets : {&m_result.surfaces, &m_result.places})
            for (ExportResult::Set const& set : *sets)
                table.AddRow({set.name, set.deck, std::to_string(set.faces), std::to_string(set.nodes)});
        table.Print(out);
    }

    ModelInput m_input;
    CaseInput m_case;
    Choice<Dialect> m_dialect{{{"ccx", Dialect::CalculiX}, {"abaqus", Dialect::Abaqus}}};
    std::string m_file;
    KetSDK::MeshJobs::ExportOptions m_options;
    ExportResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeExportCommand() {
    return std::make_unique<ExportCommand>();
}

} // namespace ketmesh
