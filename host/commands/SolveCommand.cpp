// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Solve.h>
#include <host/commands/Command.h>
#include <host/commands/options/CaseInput.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>
#include <host/terminal/Choice.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>
#include <host/terminal/Table.h>

#include <cstdlib>
#include <ostream>
#include <string>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::SolveResult;
using Method = KetSDK::MeshSolver::DeckOptions::Method;

std::string SolveHelp() {
    return std::string(CaseInput::Help) +
           "The result has the point arrays displacement [mm], stress [MPa] and strain (XX YY ZZ\n"
           "XY YZ XZ), von_mises [MPa] and force [N], the solver's own forces at nodes. Reactions\n"
           "are the forces that hold the model, without the loads at the same nodes.\n\n"
           "Examples:\n"
           "  ketmesh solve model.vtu --case case.toml -o solved.vtu\n"
           "  ketmesh solve model.vtu --case case.toml -o solved.vtu --solver iterative --keep run";
}

// Solves a model with CalculiX.
class SolveCommand : public Command {
public:
    SolveCommand()
        : Command("solve", "Solve a model with CalculiX: displacements, stresses, reactions", "") {}

private:
    void DeclareOptions(CLI::App& command) override {
        command.footer(SolveHelp());
        m_input.Declare(*this, command);
        m_output.Declare(*this, command, "Volume mesh to write, with the results as point arrays")
            ->required();
        m_case.Declare(*this, command)->required();
        m_method.Declare(command, "--solver",
                         "Solver of the equations (default: iterative above 200000 unknowns)");
        command.add_option("--timeout", m_options.timeout, "End the solver after so many seconds")
            ->type_name("S")
            ->check(PositiveNumber());
        command.add_option("--keep", m_options.keep, "Folder to keep the files of the solver in")
            ->type_name("FOLDER");
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_options.load_case = *m_case.Read();
        m_options.materials = m_case.GetMaterials();
        m_options.method = m_method.Get();
        if (char const* const path = std::getenv("PATH"))
            m_options.path = path;
        if (char const* const folder = std::getenv("TMPDIR"))
            m_options.temporary = folder;
        m_output.Open({m_input.GetUnit()});
        KetSDK::MeshJobs::Model model = m_input.Read(context);
        m_result = KetSDK::MeshJobs::Solve(model, m_options, context);
        m_output.Write(model, context);
    }

    Json Report() const override {
        Json report;
        report["applied"] = m_result.applied;
        report["reaction"] = m_result.reaction;
        report["reactions"] = Json::object();
        for (SolveResult::Reaction const& reaction : m_result.reactions)
            report["reactions"][reaction.place] = reaction.force;
        report["balance"] = m_result.balance ? Json(*m_result.balance) : Json();
        report["max_displacement"] = m_result.max_displacement;
        report["max_von_mises"] = m_result.max_von_mises;
        report["unknowns"] = m_result.unknowns;
        report["solver"] = {{"name", "CalculiX"},
                            {"version", m_result.solver_version},
                            {"seconds", m_result.solver_seconds},
                            {"method", m_result.is_iterative ? "iterative" : "direct"}};
        return report;
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_result.unknowns
            << " unknowns, solved by CalculiX " << m_result.solver_version
            << (m_result.is_iterative ? " (iterative)" : " (direct)") << " in "
            << FormatNumber(m_result.solver_seconds) << " s\n\n";
        Table table({{"force [N]", Table::Align::Left},
                     {"x", Table::Align::Right},
                     {"y", Table::Align::Right},
                     {"z", Table::Align::Right}});
        for (SolveResult::Reaction const& reaction : m_result.reactions)
            AddForce(table, "reaction at " + reaction.place, reaction.force);
        table.AddRule();
        AddForce(table, "all reactions", m_result.reaction);
        AddForce(table, "all loads", m_result.applied);
        table.Print(out);
        out << "\nbalance                "
            << (m_result.balance ? FormatGeneral(*m_result.balance, 3) + " of the loads"
                                 : "no resulting load")
            << "\nlargest displacement   " << FormatNumber(m_result.max_displacement) << " mm"
            << "\nlargest von Mises      " << FormatNumber(m_result.max_von_mises) << " MPa\n";
    }

    static void AddForce(Table& table, std::string const& name, SolveResult::Force const& force) {
        table.AddRow({name, FormatGeneral(force[0]), FormatGeneral(force[1]), FormatGeneral(force[2])});
    }

    ModelInput m_input;
    ModelOutput m_output;
    CaseInput m_case;
    Choice<Method> m_method{
        {{"auto", Method::Auto}, {"direct", Method::Direct}, {"iterative", Method::Iterative}}};
    KetSDK::MeshJobs::SolveOptions m_options;
    SolveResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeSolveCommand() {
    return std::make_unique<SolveCommand>();
}

} // namespace ketmesh
