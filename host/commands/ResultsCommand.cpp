// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Results.h>
#include <host/commands/Command.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>
#include <host/terminal/Format.h>

#include <ostream>
#include <string>

namespace ketmesh {

namespace {

// Reads what a solver left.
class ResultsCommand : public Command {
public:
    ResultsCommand()
        : Command("results", "Read the results of CalculiX (.frd) as arrays of a mesh",
                  "The mesh gets the point arrays displacement [mm], stress [MPa] and strain (XX YY ZZ XY\n"
                  "YZ XZ), von_mises [MPa] and force [N], as far as the file has them. Nodes have the\n"
                  "numbers of the deck when the mesh is an .inp file; otherwise they count from 1 in the\n"
                  "order of the mesh, as export numbers them.\n\n"
                  "Examples:\n"
                  "  ketmesh results model.frd --mesh model.inp -o solved.vtu\n"
                  "  ketmesh results run/model.frd --mesh model.vtu -o solved.vtu --step 1") {}

private:
    void DeclareOptions(CLI::App& command) override {
        DeclareInput(m_file);
        command.add_option("file", m_file, "Results to read: .frd")->required();
        m_input.Declare(*this, command, "--mesh");
        m_output.Declare(*this, command, "Volume mesh to write, with the results as point arrays")
            ->required();
        command.add_option("--step", m_options.step, "Step to read (default: the last)")
            ->type_name("N")
            ->check(CLI::Range(1, 2147483647));
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_output.Open({m_input.GetUnit()});
        KetSDK::MeshJobs::Model model = m_input.Read(context);
        m_report = KetSDK::MeshJobs::Results(model, m_file, m_options, context);
        m_output.Write(model, context);
    }

    Json Report() const override {
        auto const number = [](std::optional<double> const& value) { return value ? Json(*value) : Json(); };
        Json report;
        report["step"] = m_report.step;
        report["time"] = m_report.time;
        report["arrays"] = m_report.arrays;
        report["max_displacement"] = number(m_report.max_displacement);
        report["max_von_mises"] = number(m_report.max_von_mises);
        return report;
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_file) << ": step " << m_report.step << ", " << FormatGeneral(m_report.time)
            << " s\n\n"
            << "arrays                 ";
        char const* separator = "";
        for (std::string const& name : m_report.arrays) {
            out << separator << name;
            separator = ", ";
        }
        out << '\n';
        if (m_report.max_displacement)
            out << "largest displacement   " << FormatNumber(*m_report.max_displacement) << " mm\n";
        if (m_report.max_von_mises)
            out << "largest von Mises      " << FormatNumber(*m_report.max_von_mises) << " MPa\n";
    }

    std::string m_file;
    ModelInput m_input;
    ModelOutput m_output;
    KetSDK::MeshJobs::ResultsOptions m_options;
    KetSDK::MeshJobs::ResultsReport m_report;
};

} // namespace

std::unique_ptr<Command> MakeResultsCommand() {
    return std::make_unique<ResultsCommand>();
}

} // namespace ketmesh
