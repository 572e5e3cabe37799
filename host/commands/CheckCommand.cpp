// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Check.h>
#include <KetSDK/MeshVTK/Text.h>
#include <host/commands/Command.h>
#include <host/commands/SolidsNote.h>
#include <host/commands/options/FailOn.h>
#include <host/commands/options/ModelInput.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>
#include <host/terminal/Table.h>

#include <cstdint>
#include <iostream>
#include <string>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::CheckResult;

// A kind of defect: its key in reports, its name for people and what it means.
struct Defect {
    char const* key;
    std::uint64_t CheckResult::*count;
    char const* name;
    char const* meaning;
};

constexpr Defect Defects[] = {
    {"wrong_orientation", &CheckResult::wrong_orientation, "wrong orientation",
     "the corners are wound the wrong way: the volume is negative"},
    {"folded", &CheckResult::folded, "folded",
     "the Jacobian determinant is negative somewhere in the element: solvers refuse it"},
    {"zero_volume", &CheckResult::zero_volume, "zero volume", "the element is flat or collapsed"},
    {"wrong_mid_edges", &CheckResult::wrong_mid_edges, "wrong mid-edge nodes",
     "a mid-edge node is farther from the middle of its edge than the tolerance"},
    {"wrong_mid_faces", &CheckResult::wrong_mid_faces, "wrong mid-face nodes",
     "the same for those of a face, by the mean length of its edges"},
};

using KetSDK::Mesh::MMeshTopology;

// What is counted of the mesh as a whole.
struct TopologyCount {
    char const* key;
    std::uint64_t MMeshTopology::*count;
    char const* name;
    char const* meaning;
    bool is_defect;
};

constexpr TopologyCount TopologyCounts[] = {
    {"duplicate_elements", &MMeshTopology::duplicate_elements, "duplicate elements",
     "elements at the same positions as an earlier one", true},
    {"duplicate_nodes", &MMeshTopology::duplicate_nodes, "duplicate nodes",
     "nodes at the position of an earlier one; ketmesh weld joins them", true},
    {"faces_of_three", &MMeshTopology::faces_of_three, "faces of three", "faces of more than two elements",
     true},
    {"unused_nodes", &MMeshTopology::unused_nodes, "unused nodes", "nodes of no element", false},
    {"parts", &MMeshTopology::parts, "parts", "sets of elements connected through faces, across sub-volumes",
     false},
};

// Counts defects.
class CheckCommand : public Command {
public:
    CheckCommand()
        : Command("check", "Count defects of a mesh",
                  "An element can have several defects. Mid-edge nodes are checked where the mesh has\n"
                  "quadratic tetrahedra. Hexahedra and wedges are checked as they are, not cut.\n\n"
                  "Examples:\n"
                  "  ketmesh check head.vtu\n"
                  "  ketmesh check head_tet10.vtu --tolerance 5 --fail-on 0 --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        command
            .add_option("--tolerance", m_options.tolerance,
                        "Deviation of a mid-edge node that passes, in per cent of the length of its edge "
                        "(default: 0.5)")
            ->type_name("P")
            ->check(PositiveNumber());
        m_fail_on.Declare(
            command,
            "End with exit status 2 when more than so many elements have any one defect, or when there are "
            "more duplicate elements, duplicate nodes or faces of three elements than that");
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_result = KetSDK::MeshJobs::Check(m_input.Read(context), m_options, context);
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        report["quadratic"] = m_result.quadratic;
        AddSolids(report, {m_result.solids});
        report["tolerance"] = m_options.tolerance;
        for (Defect const& defect : Defects)
            report[defect.key] = m_result.*defect.count;
        for (TopologyCount const& count : TopologyCounts)
            report[count.key] = m_result.topology.*count.count;
        return report;
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_result.elements << " elements, "
            << (m_result.quadratic ? "quadratic; tolerance " + FormatGeneral(m_options.tolerance) + " %"
                                   : "linear: without mid-edge nodes")
            << "\n\n";
        Table table({{"defect", Table::Align::Left},
                     {"elements", Table::Align::Right},
                     {"meaning", Table::Align::Left}});
        for (Defect const& defect : Defects)
            table.AddRow({defect.name, std::to_string(m_result.*defect.count), defect.meaning});
        table.Print(out);
        Table whole({{"of the mesh", Table::Align::Left},
                     {"number", Table::Align::Right},
                     {"meaning", Table::Align::Left}});
        for (TopologyCount const& count : TopologyCounts)
            whole.AddRow({count.name, std::to_string(m_result.topology.*count.count), count.meaning});
        out << '\n';
        whole.Print(out);
        PrintSolids(out, {m_result.solids});
    }

    int Check() const override {
        std::string failed;
        auto const add = [&](std::uint64_t count, char const* name) {
            if (m_fail_on.IsExceededBy(count))
                failed += (failed.empty() ? "" : ", ") + std::to_string(count) + " " + name;
        };
        for (Defect const& defect : Defects)
            add(m_result.*defect.count, defect.name);
        for (TopologyCount const& count : TopologyCounts)
            if (count.is_defect)
                add(m_result.topology.*count.count, count.name);
        if (failed.empty())
            return Done;
        std::cerr << "ketmesh: " << Printable(m_input.GetFileName()) << ": the mesh has defects: " << failed
                  << "; " << m_fail_on.Describe() << " of each may be\n";
        return CheckFailed;
    }

    ModelInput m_input;
    KetSDK::MeshJobs::CheckOptions m_options;
    FailOn m_fail_on;
    CheckResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeCheckCommand() {
    return std::make_unique<CheckCommand>();
}

} // namespace ketmesh
