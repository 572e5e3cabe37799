// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/View.h>
#include <host/commands/Command.h>
#include <host/commands/options/ModelInput.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>

#include <cstdint>
#include <ostream>
#include <string>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::ViewResult;

// Writes a mesh as a page for a browser.
class ViewCommand : public Command {
public:
    ViewCommand()
        : Command(
              "view", "Write a volume mesh as a page that a browser shows without a network",
              "The page is one file that needs no network and no program. It turns, zooms and cuts the "
              "mesh,\n"
              "colours it by arrays, materials and quality metrics, selects elements by value, names what\n"
              "is clicked, lists the worst elements, and deforms the results of ketmesh solve. Elements and\n"
              "nodes are numbered from 0 in the order of the file. Positions are exact to 1/65535 of the\n"
              "mesh's box. Without --color the page opens with von_mises where the mesh has it, else with\n"
              "the sub-volumes.\n\n"
              "Examples:\n"
              "  ketmesh view head.vtu -o head.html\n"
              "  ketmesh view head.vtu -o head.html --color MinDihedralAngle\n"
              "  ketmesh view solved.vtu -o solved.html --color 'stress ZZ'") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        DeclareOutput();
        command.add_option("-o,--output", m_file, "Page to write: an .html file")->required();
        command
            .add_option(
                "--color", m_options.color,
                "What the page is coloured by when it opens: subvolume, an array, one component of an "
                "array, or a quality metric")
            ->type_name("NAME");
        command
            .add_option("--metrics", m_options.metrics,
                        "Quality metrics that the page has, with commas between them, or all (default: the "
                        "usual ones)")
            ->type_name("NAMES");
        command
            .add_option("--max-elements", m_options.max_elements,
                        "Show a mesh with more elements than this (default: 2000000) by those at its "
                        "surfaces and interfaces and the worst ones")
            ->type_name("N")
            ->check(Count());
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        KetSDK::MeshVTK::OutputFile file = KetSDK::MeshJobs::OpenPage(m_file);
        m_result = KetSDK::MeshJobs::View(m_input.Read(context), file, m_options, context);
        AddFile(m_file);
    }

    Json Report() const override {
        return {{"elements", m_result.elements}, {"nodes", m_result.nodes},   {"shown", m_result.shown},
                {"color", m_result.color},       {"colors", m_result.colors}, {"bytes", m_result.bytes}};
    }

    void Print(std::ostream& out) const override {
        out << m_file << ": " << m_result.elements << " elements, " << m_result.nodes << " nodes, "
            << FormatBytes(m_result.bytes) << ", coloured by " << m_result.color << '\n';
        if (m_result.shown < m_result.elements)
            out << "note: the page shows " << m_result.shown
                << " elements: those at the surfaces and the worst ones; --max-elements changes that\n";
    }

    bool NamesFiles() const override { return true; }

    ModelInput m_input;
    std::string m_file;
    KetSDK::MeshJobs::ViewOptions m_options;
    ViewResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeViewCommand() {
    return std::make_unique<ViewCommand>();
}

} // namespace ketmesh
