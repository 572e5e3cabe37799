#include <KetSDK/Mesh/operators/MMeshProjectTetOnStlOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/DataQueries/MStlTriangleTree.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/MeshInput.h>
#include <host/MeshOutput.h>
#include <host/SurfaceInput.h>
#include <host/Threads.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>
#include <host/terminal/Table.h>
#include <host/terminal/Warnings.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

// Moves the boundary of a mesh of tetrahedra onto a surface.
class ProjectCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command =
            *app.add_subcommand("project", "Move the boundary of a mesh of tetrahedra onto a surface");
        command.footer(
            "Nodes at the boundary move to the nearest point of the surface when it is near enough;\n"
            "mid-edge nodes follow. A move that would invert an element is shortened, or the node\n"
            "held where it is. Elements that are flat or inverted before (ketmesh check) hold their\n"
            "nodes, too, unless the move does them no harm.\n\n"
            "Examples:\n"
            "  ketmesh project head.vtu --surface smooth.stl --distance 2 -o smooth.vtu\n"
            "  ketmesh project head.vtu --surface head.vtp --distance 0.5 --interfaces \\\n"
            "      -o head_on_surface.vtu --json");
        m_input.Declare(command);
        m_surface.Declare(command)->required();
        command
            .add_option("--distance", m_distance,
                        "How far in mm the surface may be from a node that moves there")
            ->type_name("MM")
            ->required()
            ->check(PositiveNumber());
        command.add_flag("--interfaces", m_interfaces, "Move the nodes between sub-volumes as well");
        m_output.Declare(command, "Volume mesh to write, with all arrays of the one that is read")
            ->required();
        m_threads.Declare(command);
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        m_output.Open();
        MeshInput::Loaded const loaded = m_input.LoadTetrahedra(progress);
        MMeshBase& mesh = *loaded.mesh;
        std::unique_ptr<MStlBase> const stl = m_surface.Load(m_input, progress);
        MMeshProjectTetOnStlOperator project;
        project.SetMesh(&mesh);
        project.SetStl(stl.get());
        project.SetDistance(m_distance);
        project.SetInterfaces(m_interfaces);
        project.SetParallel(m_threads.Start());
        project.SetProgressDelegate(progress);
        MStlTriangleTree const tree(*stl);
        std::vector<MMeshPoint*> const nodes = project.FindNodes();
        State const before = _Measure(mesh, nodes, tree);
        bool const projected = project.Operate();
        ThrowIfCancelled();
        if (!projected)
            throw FileError(m_input.GetFileName(), "it could not be moved onto the surface");
        State const after = _Measure(mesh, nodes, tree);
        m_output.Write(loaded, m_input.GetUnit(), progress);
        _WarnWhenApart(project);
        if (m_json)
            PrintJson(_Report(project, before, after));
        else
            _Print(project, before, after);
        return Done;
    }

private:
    // A mesh beside the surface.
    struct State {
        double volume = 0.0;
        double mean = 0.0; // distance from the surface
        double largest = 0.0;
    };

    static State _Measure(MMeshBase const& mesh, std::vector<MMeshPoint*> const& nodes,
                          MStlTriangleTree const& tree) {
        State state;
        state.volume = mesh.GetVolume();
        for (MMeshPoint const* const p : nodes) {
            ThrowIfCancelled();
            double const distance = tree.FindNearest(p->GetPosition()).distance;
            state.mean += distance / static_cast<double>(nodes.size());
            state.largest = std::max(state.largest, distance);
        }
        return state;
    }

    Json _Report(MMeshProjectTetOnStlOperator const& project, State const& before, State const& after) const {
        auto const distances = [](State const& state) {
            return Json{{"mean", state.mean}, {"max", state.largest}};
        };
        Json report;
        report["nodes"] = project.GetNbNodes();
        report["moved"] = project.GetNbMoved();
        report["shortened"] = project.GetNbShortened();
        report["left"] = project.GetNbLeft();
        report["too_far"] = project.GetNbFar();
        report["on_surface"] = project.GetNbOnSurface();
        report["held"] = project.GetNbHeld();
        report["largest_move"] = project.GetLargestMove();
        report["volume_before"] = before.volume;
        report["volume_after"] = after.volume;
        report["distance_before"] = distances(before);
        report["distance_after"] = distances(after);
        report["warnings"] = m_warnings.GetList();
        report["files"] = {m_output.GetFileName()};
        return report;
    }

    void _Print(MMeshProjectTetOnStlOperator const& project, State const& before, State const& after) const {
        std::cout << m_input.GetFileName() << ": " << project.GetNbNodes() << " nodes at the boundary"
                  << (m_interfaces ? " and between sub-volumes" : "") << ", " << FormatGeneral(m_distance)
                  << " mm to move at most\n\n"
                  << "  moved onto the surface   " << project.GetNbMoved() << '\n'
                  << "  came part of the way     " << project.GetNbShortened() << '\n'
                  << "  left where they were     " << project.GetNbLeft() << '\n'
                  << "    too far away           " << project.GetNbFar() << '\n'
                  << "    on the surface already " << project.GetNbOnSurface() << '\n'
                  << "    held by elements       " << project.GetNbHeld() << '\n'
                  << "  largest move [mm]        " << FormatNumber(project.GetLargestMove()) << "\n\n";
        Table table(
            {{"", Table::Align::Left}, {"before", Table::Align::Right}, {"after", Table::Align::Right}});
        auto const add = [&table](char const* what, double first, double second) {
            double const scale = std::max(first, second);
            table.AddRow({what, FormatNumber(first, scale), FormatNumber(second, scale)});
        };
        add("volume [mm3]", before.volume, after.volume);
        add("mean distance from the surface [mm]", before.mean, after.mean);
        add("largest distance [mm]", before.largest, after.largest);
        table.Print(std::cout);
        std::cout << "\nwritten: " << m_output.GetFileName() << '\n';
    }

    void _WarnWhenApart(MMeshProjectTetOnStlOperator const& project) {
        if (project.GetNbNodes() > 0 && project.GetNbFar() == project.GetNbNodes())
            m_warnings.Add(m_surface.GetFileName() + ": it comes within " + FormatGeneral(m_distance) +
                           " mm of no node at the boundary of " + m_input.GetFileName() +
                           "; is it in the same unit?");
    }

    MeshInput m_input;
    SurfaceInput m_surface;
    MeshOutput m_output;
    Warnings m_warnings;
    Threads m_threads;
    double m_distance = 0.0;
    bool m_interfaces = false;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeProjectCommand() {
    return std::make_unique<ProjectCommand>();
}

} // namespace ketmesh
