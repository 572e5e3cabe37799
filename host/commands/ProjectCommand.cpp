// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Project.h>
#include <host/commands/Command.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>
#include <host/commands/options/SurfaceInput.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>
#include <host/terminal/Table.h>

#include <algorithm>
#include <ostream>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::ProjectResult;

// Moves the boundary of a mesh of tetrahedra onto a surface.
class ProjectCommand : public Command {
public:
    ProjectCommand()
        : Command("project", "Move the boundary of a mesh of tetrahedra onto a surface",
                  "Nodes at the boundary move to the nearest point of the surface when it is near enough;\n"
                  "mid-edge nodes follow. A move that would invert an element, or bring its scaled\n"
                  "Jacobian below --min-quality, is shortened, or the node stays where it is. Elements\n"
                  "that were flat or inverted before (ketmesh check) hold their nodes too, unless the\n"
                  "move does them no harm.\n\n"
                  "Examples:\n"
                  "  ketmesh project head.vtu --surface smooth.stl --distance 2 -o smooth.vtu\n"
                  "  ketmesh project head.vtu --surface head.vtp --distance 0.5 --interfaces \\\n"
                  "      -o head_on_surface.vtu --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        m_surface.Declare(*this, command)->required();
        command
            .add_option("--distance", m_options.distance,
                        "How far in mm the surface may be from a node that moves there")
            ->type_name("MM")
            ->required()
            ->check(PositiveNumber());
        command.add_flag("--interfaces", m_options.interfaces, "Move the nodes between sub-volumes as well");
        command
            .add_option("--min-quality", m_options.min_quality,
                        "Let no element fall below this scaled Jacobian of its corners, or further below it, "
                        "0 to 1 (default: 0.05)")
            ->type_name("Q")
            ->check(FiniteNumber())
            ->check(CLI::Range(0.0, 1.0));
        m_output.Declare(*this, command, "Volume mesh to write, with all arrays of the one that is read")
            ->required();
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_output.Open({m_input.GetUnit()});
        KetSDK::MeshJobs::Model model = m_input.Read(context);
        m_result = KetSDK::MeshJobs::Project(model, m_surface.Read(m_input, context), m_options, context);
        m_output.Write(model, context);
    }

    Json Report() const override {
        auto const distances = [](ProjectResult::State const& state) {
            return Json{{"mean", state.mean_distance}, {"max", state.largest_distance}};
        };
        return {{"nodes", m_result.nodes},
                {"moved", m_result.moved},
                {"shortened", m_result.shortened},
                {"left", m_result.left},
                {"too_far", m_result.too_far},
                {"on_surface", m_result.on_surface},
                {"held", m_result.held},
                {"limited", m_result.limited},
                {"largest_move", m_result.largest_move},
                {"quality_before", m_result.before.quality},
                {"quality_after", m_result.after.quality},
                {"volume_before", m_result.before.volume},
                {"volume_after", m_result.after.volume},
                {"distance_before", distances(m_result.before)},
                {"distance_after", distances(m_result.after)}};
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_result.nodes << " nodes at the boundary"
            << (m_options.interfaces ? " and between sub-volumes" : "") << ", "
            << FormatGeneral(m_options.distance) << " mm to move at most\n\n"
            << "  moved onto the surface   " << m_result.moved << '\n'
            << "  came part of the way     " << m_result.shortened << '\n'
            << "  left where they were     " << m_result.left << '\n'
            << "    too far away           " << m_result.too_far << '\n'
            << "    on the surface already " << m_result.on_surface << '\n'
            << "    held by elements       " << m_result.held << '\n'
            << "  held by --min-quality    " << m_result.limited << " of those that are not there yet\n"
            << "  largest move [mm]        " << FormatNumber(m_result.largest_move) << "\n\n";
        Table table(
            {{"", Table::Align::Left}, {"before", Table::Align::Right}, {"after", Table::Align::Right}});
        auto const add = [&](char const* what, double ProjectResult::State::*value) {
            double const first = m_result.before.*value, second = m_result.after.*value;
            double const scale = std::max(first, second);
            table.AddRow({what, FormatNumber(first, scale), FormatNumber(second, scale)});
        };
        add("volume [mm3]", &ProjectResult::State::volume);
        add("mean distance from the surface [mm]", &ProjectResult::State::mean_distance);
        add("largest distance [mm]", &ProjectResult::State::largest_distance);
        add("smallest scaled Jacobian", &ProjectResult::State::quality);
        table.Print(out);
    }

    ModelInput m_input;
    SurfaceInput m_surface;
    ModelOutput m_output;
    KetSDK::MeshJobs::ProjectOptions m_options;
    ProjectResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeProjectCommand() {
    return std::make_unique<ProjectCommand>();
}

} // namespace ketmesh
