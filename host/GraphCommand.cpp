#include <KetSDK/Mesh/operators/MMeshConvertTetToGraphOperator.h>
#include <KetSDK/MeshVTK/PolyDataFromGraphs.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/Triangles/Data/MStlFeature.h>
#include <host/Command.h>
#include <host/ElementKinds.h>
#include <host/FileError.h>
#include <host/MeshInput.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Table.h>

#include <vtkPolyData.h>
#include <vtkUnstructuredGrid.h>

#include <iostream>
#include <optional>
#include <string>

namespace ketmesh {

namespace {

// Turns the edges of a mesh into line graphs.
class GraphCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command =
            *app.add_subcommand("graph", "Turn the edges of the tetrahedra into a graph for each sub-volume");
        command.footer(
            "A graph has the corners of its sub-volume's tetrahedra as vertices and each edge once. Edges\n"
            "on a face where a sub-volume ends, outside or against another one, are left out of all graphs\n"
            "unless --all-edges is given; their vertices stay. Ten-node tetrahedra count by their "
            "corners.\n\n"
            "Examples:\n"
            "  ketmesh graph head.vtu --json\n"
            "  ketmesh graph head.vtu --all-edges -o head_edges.vtp");
        m_input.Declare(command);
        command.add_flag("--all-edges", m_all_edges, "Take the edges on boundary faces as well");
        command.add_option(
            "-o,--output", m_output,
            "File of lines to write: .vtp. The cell array graph numbers the graph of each line");
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        std::optional<KetSDK::MeshVTK::OutputFile> file;
        if (!m_output.empty())
            ForFile(m_output, [&] {
                KetSDK::MeshVTK::CheckGraphFileName(m_output);
                file.emplace(m_output);
            });
        MeshInput::Loaded loaded = m_input.LoadTetrahedra(progress);
        loaded.grid = nullptr;
        MStlFeature graphs;
        MMeshConvertTetToGraphOperator convert(*loaded.mesh, graphs);
        convert.SetOnlyInteriorEdges(!m_all_edges);
        if (!convert.Operate())
            throw FileError(m_input.GetFileName(), "its edges could not be turned into graphs");
        ThrowIfCancelled();
        Json const report = _Report(*loaded.mesh, graphs);
        if (file)
            ForFile(m_output, [&] {
                auto const lines = KetSDK::MeshVTK::PolyDataFromGraphs(graphs, m_input.GetUnit());
                KetSDK::MeshVTK::WriteGraphFile(*lines, *file, progress);
            });
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        return Done;
    }

private:
    Json _Report(MMeshBase const& mesh, MStlFeature const& graphs) const {
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["graphs"] = Json::array();
        std::uint64_t vertices = 0;
        std::uint64_t edges = 0;
        for (MStlGraph const& graph : graphs.Graphs()) {
            report["graphs"].push_back({{"name", KetSDK::MeshVTK::ToUtf8(graph.GetName())},
                                        {"vertices", graph.NumberOfVertices()},
                                        {"edges", graph.NumberOfEdges()}});
            vertices += graph.NumberOfVertices();
            edges += graph.NumberOfEdges();
        }
        report["vertices"] = vertices;
        report["edges"] = edges;
        report["all_edges"] = m_all_edges;
        AddNoteOnCorners(report, mesh);
        report["files"] = Json::array();
        if (!m_output.empty())
            report["files"].push_back(m_output);
        return report;
    }

    void _Print(Json const& report) const {
        std::cout << m_input.GetFileName() << ": " << report["elements"] << " elements, "
                  << (m_all_edges ? "all edges" : "edges that lie on no boundary face") << "\n\n";
        Table table({{"graph", Table::Align::Left},
                     {"vertices", Table::Align::Right},
                     {"edges", Table::Align::Right}});
        for (Json const& graph : report["graphs"])
            table.AddRow({graph["name"], graph["vertices"].dump(), graph["edges"].dump()});
        table.AddRule();
        table.AddRow({"all", report["vertices"].dump(), report["edges"].dump()});
        table.Print(std::cout);
        if (report.contains("note"))
            std::cout << "\nnote: " << report["note"].get<std::string>() << '\n';
        if (!m_output.empty())
            std::cout << "\nwritten: " << m_output << '\n';
    }

    MeshInput m_input;
    std::string m_output;
    bool m_all_edges = false;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeGraphCommand() {
    return std::make_unique<GraphCommand>();
}

} // namespace ketmesh
