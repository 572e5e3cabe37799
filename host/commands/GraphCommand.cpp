// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Graph.h>
#include <host/commands/Command.h>
#include <host/commands/CornersNote.h>
#include <host/commands/options/ModelInput.h>
#include <host/terminal/Table.h>

#include <optional>
#include <ostream>
#include <string>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::GraphReport;

// Turns the edges of a mesh into line graphs.
class GraphCommand : public Command {
public:
    GraphCommand()
        : Command(
              "graph", "Turn the edges of the tetrahedra into a graph for each sub-volume",
              "A graph has the corners of its sub-volume's tetrahedra as vertices and each edge once. Edges\n"
              "on a face where a sub-volume ends, outside or against another one, are left out of all "
              "graphs\n"
              "unless --all-edges is given; their vertices stay. Ten-node tetrahedra count by their "
              "corners.\n\n"
              "Examples:\n"
              "  ketmesh graph head.vtu --json\n"
              "  ketmesh graph head.vtu --all-edges -o head_edges.vtp") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        command.add_flag("--all-edges", m_options.all_edges, "Take the edges on boundary faces as well");
        DeclareOutput();
        command.add_option(
            "-o,--output", m_output,
            "File of lines to write: .vtp. The cell array graph numbers the graph of each line");
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        std::optional<KetSDK::MeshVTK::OutputFile> file;
        if (!m_output.empty())
            file.emplace(KetSDK::MeshJobs::OpenGraphFile(m_output));
        m_result = KetSDK::MeshJobs::Graph(m_input.Read(context), m_options, context);
        if (file) {
            KetSDK::MeshJobs::WriteGraphs(*m_result.lines, *file, m_input.GetUnit(), context, m_result.frame);
            AddFile(m_output);
        }
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        report["graphs"] = Json::array();
        for (GraphReport const& graph : m_result.graphs)
            report["graphs"].push_back(
                {{"name", graph.name}, {"vertices", graph.vertices}, {"edges", graph.edges}});
        report["vertices"] = m_result.vertices;
        report["edges"] = m_result.edges;
        report["all_edges"] = m_options.all_edges;
        AddCornersNote(report, m_result.taken_by_corners);
        return report;
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_result.elements << " elements, "
            << (m_options.all_edges ? "all edges" : "edges that lie on no boundary face") << "\n\n";
        Table table({{"graph", Table::Align::Left},
                     {"vertices", Table::Align::Right},
                     {"edges", Table::Align::Right}});
        auto const add_row = [&table](GraphReport const& graph) {
            table.AddRow({graph.name, std::to_string(graph.vertices), std::to_string(graph.edges)});
        };
        for (GraphReport const& graph : m_result.graphs)
            add_row(graph);
        table.AddRule();
        add_row({"all", m_result.vertices, m_result.edges});
        table.Print(out);
        PrintCornersNote(out, m_result.taken_by_corners);
    }

    ModelInput m_input;
    std::string m_output;
    KetSDK::MeshJobs::GraphOptions m_options;
    KetSDK::MeshJobs::GraphResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeGraphCommand() {
    return std::make_unique<GraphCommand>();
}

} // namespace ketmesh
