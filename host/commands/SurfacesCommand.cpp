// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Surfaces.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <host/commands/Command.h>
#include <host/commands/CornersNote.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/SurfaceOutput.h>
#include <host/terminal/Choice.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>

#include <array>
#include <ostream>
#include <string>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::SurfaceReport;
using KetSDK::MeshJobs::SurfacesOptions;

// Extracts the surfaces of a mesh into a file.
class SurfacesCommand : public Command {
public:
    SurfacesCommand()
        : Command("surfaces", "Extract the named surfaces of a volume mesh",
                  "In .vtp files the cell arrays element and face say on which face of which element each\n"
                  "triangle lies; the point array node says which node each point is. Elements and nodes\n"
                  "count from 1 in the order of the mesh file, faces as in solvers.\n\n"
                  "Examples:\n"
                  "  ketmesh surfaces head.vtu -o head.vtp --interfaces --names volumes\n"
                  "  ketmesh surfaces head.vtu -o head.stl --ascii\n"
                  "  ketmesh surfaces head.vtu -o head.stl --split-surfaces") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        m_output.Declare(*this, command, "Surface file to write")->required();
        command.add_flag("--interfaces", m_options.interfaces,
                         "Extract the surfaces between sub-volumes as well");
        command.add_flag(
            "--curved", m_options.curved,
            "Cut each face of ten-node tetrahedra into four triangles at its mid-edge nodes; otherwise "
            "the corners are taken");
        m_names.Declare(
            command, "--names",
            "Name surfaces by the numbers (ids, the default) or the names (volumes) of the sub-volumes");
        CLI::Option* const ascii = command.add_flag(
            "--ascii", m_ascii, "Write .stl in text, with a solid for each surface under its name");
        command
            .add_flag("--split-surfaces", m_split,
                      "Write a file for each surface, named <output>-<surface> with the output's ending")
            ->excludes(ascii);
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_options.names = m_names.Get();
        if (m_ascii && KetSDK::MeshVTK::LowerCaseEnding(m_output.GetFileName()) != ".stl")
            throw KetSDK::MeshJobs::FileError(m_output.GetFileName(), "--ascii is for .stl files only");
        m_output.Open(m_split ? SurfaceOutput::Files::OneForEachSurface : SurfaceOutput::Files::One);
        KetSDK::MeshJobs::Model const model = m_input.Read(context);
        m_box = KetSDK::MeshJobs::BoxOf(*model.mesh);
        m_rounding_error = model.rounding.largest_error;
        m_result = KetSDK::MeshJobs::Surfaces(model, m_options, context);
        m_output.Write(m_result.surfaces, {.unit = m_input.GetUnit(), .text = m_ascii}, context);
    }

    Json Report() const override {
        Json report;
        report["surfaces"] = Json::array();
        for (SurfaceReport const& surface : m_result.reports)
            report["surfaces"].push_back({{"name", surface.name},
                                          {"triangles", surface.triangles},
                                          {"area", surface.area},
                                          {"closed", surface.closed}});
        AddCornersNote(report, m_result.taken_by_corners);
        report["triangles"] = m_result.triangles;
        report["points"] = m_result.points;
        report["box"] = m_box;
        report["rounding_error"] = m_rounding_error;
        return report;
    }

    void Print(std::ostream& out) const override {
        Table table({{"surface", Table::Align::Left},
                     {"triangles", Table::Align::Right},
                     {"area [mm2]", Table::Align::Right},
                     {"closed", Table::Align::Left}});
        double area = 0.0;
        for (SurfaceReport const& surface : m_result.reports)
            area += surface.area;
        for (SurfaceReport const& surface : m_result.reports)
            table.AddRow({surface.name, std::to_string(surface.triangles), FormatNumber(surface.area, area),
                          surface.closed ? "yes" : "no"});
        table.AddRule();
        table.AddRow({"all", std::to_string(m_result.triangles), FormatNumber(area), ""});
        table.Print(out);
        PrintCornersNote(out, m_result.taken_by_corners, "; --curved keeps them");
    }

    ModelInput m_input;
    SurfaceOutput m_output;
    Choice<SurfacesOptions::Names> m_names{
        {{"ids", SurfacesOptions::Names::Ids}, {"volumes", SurfacesOptions::Names::Volumes}}};
    SurfacesOptions m_options;
    bool m_split = false;
    bool m_ascii = false;
    KetSDK::MeshJobs::SurfacesResult m_result;
    std::array<double, 6> m_box{};
    double m_rounding_error = 0.0;
};

} // namespace

std::unique_ptr<Command> MakeSurfacesCommand() {
    return std::make_unique<SurfacesCommand>();
}

} // namespace ketmesh
