// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Grow.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <host/commands/Command.h>
#include <host/commands/CornersNote.h>
#include <host/commands/options/BadThreshold.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/SurfaceInput.h>
#include <host/commands/options/SurfaceOutput.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>

#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::MarkedSurfaceReport;
using KetSDK::MeshJobs::SurfaceModel;

// Marks the places of a surface below which elements are bad.
class GrowCommand : public Command {
public:
    GrowCommand()
        : Command(
              "grow", "Mark the triangles of a surface at which tetrahedra are bad",
              "Elements with a value that is not finite count as bad too. Rings of face neighbours are\n"
              "added to the bad elements; triangles of the surface that are boundary faces of these\n"
              "elements get 1 in the cell array bad, all others 0.\n\n"
              "Examples:\n"
              "  ketmesh grow head.vtu --below 0.1 -o head_bad.vtp\n"
              "  ketmesh grow head.vtu --metric AspectRatioTetgen --above 20 --rings 2 --surface skin.stl "
              "-o bad.vtp") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        command.add_option("--metric", m_options.metric, "Metric that decides (default: ScaledJacobian)")
            ->type_name("NAME");
        m_threshold.Declare(command);
        command.add_option("--rings", m_options.rings, "How many rings of neighbours to add (default: 0)")
            ->type_name("K")
            ->check(CLI::Range(0, std::numeric_limits<int>::max()));
        m_surface.Declare(*this, command)
            ->description(
                "Surface to mark, in the coordinates of the mesh: .vtp, .stl, .ply or .obj. Without "
                "it: the exterior surface of the mesh");
        m_output.Declare(*this, command, "Surface file to write")
            ->description("Surface file to write: .vtp")
            ->required();
        command.callback([this] {
            if (!m_threshold.IsGiven())
                throw CLI::RequiredError("--below or --above");
        });
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_options.threshold = m_threshold.Get();
        KetSDK::MeshJobs::RequireValid(m_options);
        if (KetSDK::MeshVTK::LowerCaseEnding(m_output.GetFileName()) != ".vtp")
            throw KetSDK::MeshJobs::FileError(
                m_output.GetFileName(),
                "marked surfaces are written to .vtp files only; files of other kinds hold no marks");
        m_output.Open();
        KetSDK::MeshJobs::Model const model = m_input.Read(context);
        std::optional<SurfaceModel> surface;
        if (m_surface.IsGiven())
            surface = m_surface.Read(m_input, context);
        m_result = KetSDK::MeshJobs::Grow(model, std::move(surface), m_options, context);
        m_output.Write(m_result.surface, {m_input.GetUnit()}, context);
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        report["bad"] = m_result.bad;
        report["rings"] = m_options.rings;
        m_threshold.AddTo(report);
        report["surfaces"] = Json::array();
        for (MarkedSurfaceReport const& surface : m_result.surfaces)
            report["surfaces"].push_back({{"name", surface.name},
                                          {"triangles", surface.triangles},
                                          {"marked", surface.marked},
                                          {"area", surface.area}});
        report["triangles"] = m_result.triangles;
        report["on_mesh"] = m_result.on_mesh;
        report["marked"] = m_result.marked;
        report["area"] = m_result.area;
        AddCornersNote(report, m_result.taken_by_corners);
        return report;
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_result.bad << " of " << m_result.elements
            << " elements are bad: " << m_options.metric << ' ' << m_threshold.Describe() << "\n\n";
        Table table({{"surface", Table::Align::Left},
                     {"triangles", Table::Align::Right},
                     {"marked", Table::Align::Right},
                     {"area marked [mm2]", Table::Align::Right}});
        auto const add_row = [&](MarkedSurfaceReport const& surface) {
            table.AddRow({surface.name, std::to_string(surface.triangles), std::to_string(surface.marked),
                          FormatNumber(surface.area, m_result.area)});
        };
        for (MarkedSurfaceReport const& surface : m_result.surfaces)
            add_row(surface);
        table.AddRule();
        add_row({"all", m_result.triangles, m_result.marked, m_result.area});
        table.Print(out);
        if (m_surface.IsGiven())
            out << "\n" << m_result.on_mesh << " of the triangles are boundary faces of the mesh\n";
        PrintCornersNote(out, m_result.taken_by_corners);
    }

    ModelInput m_input;
    BadThreshold m_threshold;
    SurfaceInput m_surface;
    SurfaceOutput m_output;
    KetSDK::MeshJobs::GrowOptions m_options;
    KetSDK::MeshJobs::GrowResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeGrowCommand() {
    return std::make_unique<GrowCommand>();
}

} // namespace ketmesh
