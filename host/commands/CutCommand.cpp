// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Cut.h>
#include <host/commands/Command.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/SurfaceOutput.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberList.h>
#include <host/terminal/Table.h>

#include <algorithm>
#include <array>
#include <ostream>
#include <stdexcept>
#include <string>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::SectionReport;

std::array<double, 3> VectorFrom(std::string const& text) {
    std::array<double, 3> vector{};
    std::ranges::copy(ParseNumbers(text), vector.begin()); // three, as the option's check says
    return vector;
}

// Cuts a mesh by a plane.
class CutCommand : public Command {
public:
    CutCommand()
        : Command("cut", "Cut a volume mesh by a plane",
                  "The normal points to what is above the plane. An element is above or below it when all\n"
                  "its nodes are, and cut otherwise. The section has a surface for each sub-volume, named\n"
                  "after it; in .vtp files its triangles have the values of the elements that they lie\n"
                  "in, and the arrays element, face and node as ketmesh surfaces writes them: 0 for a\n"
                  "triangle that lies on no face, and for a point on no node.\n\n"
                  "Examples:\n"
                  "  ketmesh cut head.vtu --normal 0,0,1 --point 0,0,80\n"
                  "  ketmesh cut head.vtu --normal 1,1,0 --point 120,120,80 -o section.vtp") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        command
            .add_option("--normal", m_normal, "Direction that is perpendicular to the plane, of any length")
            ->type_name("X,Y,Z")
            ->required()
            ->check(NumberList(3, "x,y,z of the plane's normal"));
        command.add_option("--point", m_point, "A point on the plane, in mm")
            ->type_name("X,Y,Z")
            ->required()
            ->check(NumberList(3, "x,y,z of a point on the plane"));
        m_output.Declare(*this, command, "Surface file to write the section to");
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        KetSDK::MeshJobs::CutOptions options{VectorFrom(m_normal), VectorFrom(m_point), m_output.IsGiven()};
        if (options.normal == std::array{0.0, 0.0, 0.0})
            throw std::invalid_argument("--normal " + m_normal + " has no direction");
        m_output.Open();
        m_result = KetSDK::MeshJobs::Cut(m_input.Read(context), options, context);
        m_output.Write(m_result.section, {m_input.GetUnit(), true}, context);
    }

    Json Report() const override {
        Json report;
        report["area"] = m_result.area;
        report["above"] = m_result.above;
        report["below"] = m_result.below;
        report["cut"] = m_result.cut;
        report["contours"] = m_result.contours;
        report["contour_length"] = m_result.contour_length;
        report["subvolumes"] = Json::array();
        for (SectionReport const& s : m_result.subvolumes)
            report["subvolumes"].push_back({{"number", s.number}, {"name", s.name}, {"area", s.area}});
        return report;
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_result.cut << " elements cut, " << m_result.above
            << " above, " << m_result.below << " below\n"
            << "contours        " << m_result.contours << ", " << FormatNumber(m_result.contour_length)
            << " mm long together\n\n";
        Table table({{"number", Table::Align::Right},
                     {"sub-volume", Table::Align::Left},
                     {"area [mm2]", Table::Align::Right}});
        for (SectionReport const& s : m_result.subvolumes)
            table.AddRow({std::to_string(s.number), s.name, FormatNumber(s.area, m_result.area)});
        table.AddRule();
        table.AddRow({"", "all", FormatNumber(m_result.area)});
        table.Print(out);
    }

    ModelInput m_input;
    SurfaceOutput m_output;
    std::string m_normal;
    std::string m_point;
    KetSDK::MeshJobs::CutResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeCutCommand() {
    return std::make_unique<CutCommand>();
}

} // namespace ketmesh
