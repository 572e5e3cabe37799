// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Diff.h>
#include <host/commands/Command.h>
#include <host/commands/options/ModelInput.h>
#include <host/terminal/NumberCheck.h>

#include <array>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::Model;

// Says whether two mesh files are equal.
class DiffCommand : public Command {
public:
    DiffCommand()
        : Command("diff", "Check whether two volume meshes are equal",
                  "Compares nodes, elements, their values, materials, sub-volumes, scalar fields and all\n"
                  "other arrays bit for bit. Names the first difference, with the value in the first file\n"
                  "first. Nodes, elements and sub-volumes count from 0. A .kmesh file equals a .vtu or\n"
                  ".vtk file when saving it in that format would give that file; the report says when the\n"
                  ".kmesh file holds more. Arrays of equal numbers are equal, whatever types the numbers\n"
                  "have; a warning says when the types differ. A second mesh in another frame of\n"
                  "coordinates is turned into that of the first. The exit status is 2 when the meshes\n"
                  "differ.\n\n"
                  "Examples:\n"
                  "  ketmesh diff head.vtu head.kmesh\n"
                  "  ketmesh diff before.kmesh after.kmesh --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        command.add_option("other", m_other, "Volume mesh to compare it with")->required();
        DeclareInput(m_other);
        command
            .add_option("--tolerance", m_tolerance,
                        "How far in mm a node may lie from the same node of the other mesh (default: 0)")
            ->type_name("MM")
            ->check(NonNegativeNumber());
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        Model const a = m_input.Read(context);
        Model const b = KetSDK::MeshJobs::ReadModel(m_other, m_input.GetOptions(), context);
        m_result = KetSDK::MeshJobs::Diff(a, b, m_input.GetOptions(), context, m_tolerance);
        m_elements = {a.mesh->NumberOfElements(), b.mesh->NumberOfElements()};
        m_nodes = {a.mesh->NumberOfPoints(), b.mesh->NumberOfPoints()};
    }

    Json Report() const override {
        auto const words = [](std::optional<std::string> const& text) { return text ? Json(*text) : Json(); };
        Json report;
        report["equal"] = m_result.AreEqual();
        report["first_difference"] = words(m_result.first_difference);
        report["left_out"] = words(m_result.left_out);
        report["elements"] = m_elements;
        report["nodes"] = m_nodes;
        return report;
    }

    void Print(std::ostream& out) const override {
        std::string const files = Printable(m_input.GetFileName() + " and " + m_other);
        if (!m_result.AreEqual()) {
            out << files << " differ: " << *m_result.first_difference << '\n';
            return;
        }
        out << files << " are equal: " << m_elements[0] << " elements, " << m_nodes[0] << " nodes\n";
        if (m_result.left_out)
            out << "The .kmesh file has more than files of VTK hold: " << *m_result.left_out << '\n';
    }

    int Check() const override { return m_result.AreEqual() ? Done : CheckFailed; }

    ModelInput m_input;
    std::string m_other;
    double m_tolerance = 0.0;
    KetSDK::MeshJobs::DiffResult m_result;
    std::array<std::int64_t, 2> m_elements{}; // of both files
    std::array<std::int64_t, 2> m_nodes{};
};

} // namespace

std::unique_ptr<Command> MakeDiffCommand() {
    return std::make_unique<DiffCommand>();
}

} // namespace ketmesh
