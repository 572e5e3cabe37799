// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Weld.h>
#include <host/commands/Command.h>
#include <host/commands/SubVolumeTable.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>
#include <host/terminal/NumberCheck.h>

#include <ostream>
#include <string>

namespace ketmesh {

namespace {

// Joins the nodes that lie at one place.
class WeldCommand : public Command {
public:
    WeldCommand()
        : Command("weld", "Join nodes that lie at one place",
                  "Two meshes side by side, and meshes that were written in pieces, have nodes twice where\n"
                  "they touch, so nothing connects them. Such nodes become the first of them. Elements,\n"
                  "sub-volumes, materials and arrays are kept. When two nodes of one element would become\n"
                  "one, nothing is written.\n\n"
                  "Examples:\n"
                  "  ketmesh weld pieces.vtu -o whole.vtu\n"
                  "  ketmesh weld both.vtu -o welded.vtu --tolerance 0.001") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        command
            .add_option(
                "--tolerance", m_options.tolerance,
                "How far apart in mm nodes may lie that become one, directly or by way of others; equal "
                "places only unless given")
            ->type_name("MM")
            ->check(PositiveNumber());
        m_output.Declare(*this, command, "Volume mesh to write")->required();
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_output.Open({m_input.GetUnit()});
        m_result = KetSDK::MeshJobs::Weld(m_input.Read(context), m_options, context);
        m_output.Write(m_result.model, context);
    }

    Json Report() const override {
        return {{"elements", m_result.elements},
                {"nodes", m_result.nodes},
                {"joined_nodes", m_result.joined_nodes},
                {"subvolumes", ToJson(m_result.subvolumes)}};
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_result.elements << " elements, "
            << m_result.nodes << " nodes; " << m_result.joined_nodes << " nodes became one with another\n\n";
        PrintSubVolumes(out, m_result.subvolumes);
    }

    ModelInput m_input;
    ModelOutput m_output;
    KetSDK::MeshJobs::WeldOptions m_options;
    KetSDK::MeshJobs::WeldResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeWeldCommand() {
    return std::make_unique<WeldCommand>();
}

} // namespace ketmesh
