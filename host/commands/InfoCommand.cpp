// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Info.h>
#include <host/commands/Command.h>
#include <host/commands/SubVolumeTable.h>
#include <host/commands/options/ModelInput.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>

#include <ostream>
#include <string>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::ArrayReport;

// Says what a mesh file holds.
class InfoCommand : public Command {
public:
    InfoCommand()
        : Command("info", "Show what a volume mesh holds",
                  "Examples:\n"
                  "  ketmesh info head.vtu\n"
                  "  ketmesh info part.vtk --unit m --labels material --json") {}

private:
    void DeclareOptions(CLI::App& command) override { m_input.Declare(*this, command); }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_result = KetSDK::MeshJobs::Info(m_input.Read(context), {m_input.GetUnit()}, context);
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        report["nodes"] = m_result.nodes;
        for (KetSDK::MeshJobs::KindCount const& kind : m_result.kinds)
            report["kinds"][kind.name] = kind.elements;
        report["subvolumes"] = ToJson(m_result.subvolumes);
        report["volume"] = m_result.volume;
        report["box"] = m_result.box;
        report["frame"] = m_result.frame ? Json(KetSDK::Mesh::FrameWord(*m_result.frame)) : Json();
        report["rounding_error"] = m_result.rounding.largest_error;
        report["merged_nodes"] = m_result.rounding.merged;
        report["nodes_out_of_range"] = m_result.rounding.out_of_range;
        report["memory"] = m_result.memory;
        report["arrays"] = Json::array();
        for (ArrayReport const& array : m_result.arrays)
            report["arrays"].push_back({{"where", array.where},
                                        {"name", array.name},
                                        {"type", array.type},
                                        {"components", array.components},
                                        {"range", array.range ? Json(*array.range) : Json()}});
        return report;
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << '\n'
            << "elements        " << m_result.elements << " (" << KindsText() << ")\n"
            << "nodes           " << m_result.nodes << '\n'
            << "volume          " << FormatNumber(m_result.volume) << " mm3\n"
            << "box             " << FormatBox(m_result.box) << " mm\n"
            << "frame           " << (m_result.frame ? KetSDK::Mesh::FrameWord(*m_result.frame) : "not said")
            << '\n'
            << "rounding error  " << FormatNumber(m_result.rounding.largest_error) << " mm at most\n";
        if (m_result.rounding.merged != 0)
            out << "merged          " << m_result.rounding.merged << " nodes fall together by rounding\n";
        if (m_result.rounding.out_of_range != 0)
            out << "out of range    " << m_result.rounding.out_of_range << " nodes were moved to the limit\n";
        out << "memory          " << FormatBytes(m_result.memory) << "\n\n";
        PrintSubVolumes(out, m_result.subvolumes);
        if (!m_result.arrays.empty())
            PrintArrays(out);
    }

    void PrintArrays(std::ostream& out) const {
        Table table({{"array", Table::Align::Left},
                     {"where", Table::Align::Left},
                     {"type", Table::Align::Left},
                     {"components", Table::Align::Right},
                     {"from", Table::Align::Right},
                     {"to", Table::Align::Right}});
        for (ArrayReport const& array : m_result.arrays)
            table.AddRow({array.name, array.where, array.type, std::to_string(array.components),
                          array.range ? FormatGeneral((*array.range)[0]) : "",
                          array.range ? FormatGeneral((*array.range)[1]) : ""});
        out << '\n';
        table.Print(out);
    }

    std::string KindsText() const {
        std::string text;
        for (KetSDK::MeshJobs::KindCount const& kind : m_result.kinds)
            if (kind.elements > 0)
                text += (text.empty() ? "" : ", ") + std::to_string(kind.elements) + " " + kind.name;
        return text;
    }

    ModelInput m_input;
    KetSDK::MeshJobs::InfoResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeInfoCommand() {
    return std::make_unique<InfoCommand>();
}

} // namespace ketmesh
