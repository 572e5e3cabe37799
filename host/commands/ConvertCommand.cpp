// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Convert.h>
#include <host/commands/Command.h>
#include <host/commands/CornersNote.h>
#include <host/commands/SubVolumeTable.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>
#include <host/terminal/Choice.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>

#include <ostream>
#include <stdexcept>
#include <string>

namespace ketmesh {

namespace {

using Target = KetSDK::MeshJobs::ConvertOptions::Target;

// Converts between kinds of elements.
class ConvertCommand : public Command {
public:
    ConvertCommand()
        : Command("convert", "Convert elements to linear or quadratic tetrahedra",
                  "Hexahedra and wedges are cut into tetrahedra that fit together: five or six, or three.\n"
                  "Where an element is too warped for that, it gets a node inside; no node is added on\n"
                  "its faces. A linear tetrahedron becomes quadratic with nodes in the middles of its\n"
                  "edges. A quadratic one becomes linear by its corners alone or, with --split, eight\n"
                  "linear ones. Inverted elements are turned when the result is linear.\n\n"
                  "Elements are written sub-volume by sub-volume, and nodes at one position become one.\n"
                  "New elements have the values of those that they came from in all cell arrays. In point\n"
                  "arrays a new mid-edge node has the mean of the ends of its edge when the numbers are\n"
                  "floating-point, and the smaller of both values otherwise; a node inside an element has\n"
                  "those of its corners. original_id is -1 at new nodes.\n\n"
                  "Examples:\n"
                  "  ketmesh convert head.vtu -o head_tet10.vtu --to tet10\n"
                  "  ketmesh convert head_tet10.vtu -o head_fine.vtu --to tet4 --split\n"
                  "  ketmesh convert blocks_hex8.vtu -o blocks_tet4.vtu --to tet4 --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        m_output.Declare(*this, command, "Volume mesh to write")->required();
        m_to.Declare(command, "--to", "Kind of elements to convert to: linear (tet4) or quadratic (tet10)")
            ->required();
        command.add_flag("--split", m_split,
                         "Make eight linear tetrahedra of each quadratic one, on all its nodes");
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        if (m_split && m_to.Get() != Target::Tet4)
            throw std::invalid_argument("--split makes linear tetrahedra; it goes with --to tet4");
        m_output.Open({m_input.GetUnit()});
        m_result = KetSDK::MeshJobs::Convert(m_input.Read(context),
                                             {m_split ? Target::Tet4Split : m_to.Get()}, context);
        m_output.Write(m_result.model, context);
    }

    Json Report() const override {
        Json report;
        report["to"] = m_to.GetWord();
        report["elements_before"] = m_result.before.elements;
        report["elements_after"] = m_result.after.elements;
        report["nodes_before"] = m_result.before.nodes;
        report["nodes_after"] = m_result.after.nodes;
        report["nodes_joined"] = m_result.origins.joined_nodes;
        report["volume_before"] = m_result.before.volume;
        report["volume_after"] = m_result.after.volume;
        report["reoriented"] = m_result.reoriented;
        report["subvolumes"] = ToJson(m_result.subvolumes);
        AddCornersNote(report, m_result.taken_by_corners);
        if (auto const& cut = m_result.cut) {
            report["interior_faces"] = cut->interior_faces;
            report["nonmatching_faces"] = cut->nonmatching_faces;
            report["nodes_inside"] = cut->nodes_inside;
            report["folded"] = cut->folded;
        }
        return report;
    }

    void Print(std::ostream& out) const override {
        auto const& before = m_result.before;
        auto const& after = m_result.after;
        out << Printable(m_input.GetFileName()) << ": converted to " << m_to.GetWord() << "\n\n";
        Table table(
            {{"", Table::Align::Left}, {"before", Table::Align::Right}, {"after", Table::Align::Right}});
        table.AddRow({"elements", std::to_string(before.elements), std::to_string(after.elements)});
        table.AddRow({"nodes", std::to_string(before.nodes), std::to_string(after.nodes)});
        table.AddRow({"volume [mm3]", FormatNumber(before.volume), FormatNumber(after.volume)});
        table.Print(out);
        out << '\n';
        PrintSubVolumes(out, m_result.subvolumes);
        out << "\nre-oriented elements        " << m_result.reoriented << "\nnodes joined at a position  "
            << m_result.origins.joined_nodes << '\n';
        if (auto const& cut = m_result.cut)
            out << "nodes added inside elements " << cut->nodes_inside << "\nfolded elements             "
                << cut->folded << "\nfaces that do not match     " << cut->nonmatching_faces << " of "
                << cut->interior_faces << " with four corners\n";
        PrintCornersNote(out, m_result.taken_by_corners, "; --split keeps their mid-edge nodes");
    }

    ModelInput m_input;
    ModelOutput m_output;
    Choice<Target> m_to{{{"tet4", Target::Tet4}, {"tet10", Target::Tet10}}};
    bool m_split = false;
    KetSDK::MeshJobs::ConvertResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeConvertCommand() {
    return std::make_unique<ConvertCommand>();
}

} // namespace ketmesh
