// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Repair.h>
#include <KetSDK/MeshVTK/Text.h>
#include <host/commands/Command.h>
#include <host/commands/options/FailOn.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>
#include <host/terminal/Table.h>

#include <iostream>
#include <string>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::RatioReport;

// Pulls mid-edge nodes of bad quadratic tetrahedra back towards the middles of their edges.
class RepairCommand : public Command {
public:
    RepairCommand()
        : Command("repair", "Repair quadratic tetrahedra whose mid-edge nodes make them bad",
                  "An element is bad when its Jacobian ratio (the metric JacobianRatio, -100 for a folded\n"
                  "element) lies outside the thresholds. Its mid-edge nodes are pulled back towards the\n"
                  "middles of its edges, as little as needed. Corners never move, so an element that is\n"
                  "bad even when straight stays as it is.\n\n"
                  "Examples:\n"
                  "  ketmesh repair head_tet10.vtu -o head_repaired.vtu\n"
                  "  ketmesh repair head_tet10.vtu -o head_repaired.vtu --max-ratio 10 --fail-on 0") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        m_output.Declare(*this, command, "Volume mesh to write, with all arrays of the one that is read")
            ->required();
        DeclareThreshold(command, "--min-ratio", m_options.min_ratio, "Smallest Jacobian ratio that is good");
        DeclareThreshold(command, "--max-ratio", m_options.max_ratio, "Largest Jacobian ratio that is good");
        DeclareThreshold(command, "--min-alignment", m_options.min_alignment,
                         "Smallest cosine of the angle at a mid-edge node between the halves of its edge, 1 "
                         "when straight; nodes below are pulled back first");
        m_fail_on.Declare(command, "End with exit status 2 when more than so many elements stay bad");
    }

    static void DeclareThreshold(CLI::App& command, char const* name, double& value,
                                 std::string const& description) {
        command.add_option(name, value, description + " (default: " + FormatGeneral(value) + ")")
            ->type_name("R")
            ->check(FiniteNumber());
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        KetSDK::MeshJobs::RequireValid(m_options);
        m_output.Open({m_input.GetUnit()});
        KetSDK::MeshJobs::Model model = m_input.Read(context);
        m_result = KetSDK::MeshJobs::Repair(model, m_options, context);
        m_output.Write(model, context);
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        report["modified"] = m_result.modified;
        report["straightened"] = m_result.straightened;
        report["mid_nodes_aligned"] = m_result.mid_nodes_aligned;
        report["passes"] = m_result.passes;
        report["outer"] = m_result.outer;
        report["thresholds"] = {m_options.min_ratio, m_options.max_ratio};
        report["bad_before"] = m_result.before.bad;
        report["bad_after"] = m_result.after.bad;
        report["ratio_before"] = ToJson(m_result.before);
        report["ratio_after"] = ToJson(m_result.after);
        return report;
    }

    static Json ToJson(RatioReport const& ratios) {
        return {{"bad", ratios.bad},
                {"folded", ratios.folded},
                {"min", ratios.min},
                {"median", ratios.median},
                {"max", ratios.max}};
    }

    void Print(std::ostream& out) const override {
        RatioReport const& before = m_result.before;
        RatioReport const& after = m_result.after;
        out << Printable(m_input.GetFileName()) << ": " << m_result.elements << " elements, "
            << m_result.outer << " of them at the boundary\n\n"
            << "  modified elements        " << m_result.modified << '\n'
            << "  straightened fully       " << m_result.straightened << '\n'
            << "  mid-edge nodes aligned   " << m_result.mid_nodes_aligned << '\n'
            << "  passes                   " << m_result.passes << "\n\n";
        Table table({{"Jacobian ratio", Table::Align::Left},
                     {"before", Table::Align::Right},
                     {"after", Table::Align::Right}});
        table.AddRow({"bad: outside " + FormatGeneral(m_options.min_ratio) + " to " +
                          FormatGeneral(m_options.max_ratio),
                      std::to_string(before.bad), std::to_string(after.bad)});
        table.AddRow({"folded", std::to_string(before.folded), std::to_string(after.folded)});
        table.AddRow({"smallest", FormatNumber(before.min), FormatNumber(after.min)});
        table.AddRow({"median", FormatNumber(before.median), FormatNumber(after.median)});
        table.AddRow({"largest", FormatNumber(before.max), FormatNumber(after.max)});
        table.Print(out);
    }

    int Check() const override {
        if (!m_fail_on.IsExceededBy(m_result.after.bad))
            return Done;
        std::cerr << "ketmesh: " << Printable(m_input.GetFileName()) << ": " << m_result.after.bad
                  << " elements stay bad; " << m_fail_on.Describe() << " may\n";
        return CheckFailed;
    }

    ModelInput m_input;
    ModelOutput m_output;
    KetSDK::MeshJobs::RepairOptions m_options;
    FailOn m_fail_on;
    KetSDK::MeshJobs::RepairResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeRepairCommand() {
    return std::make_unique<RepairCommand>();
}

} // namespace ketmesh
