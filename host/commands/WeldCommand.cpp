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

// Joins the nodes that lie at one position.
class WeldCommand : public Command {
public:
    WeldCommand()
        : Command(
              "weld", "Join nodes that lie at one position",
              "Two meshes side by side, and meshes that were written in pieces, have nodes twice\n"
              "where they touch, so that nothing connects them. The first of such nodes replaces the\n"
              "others. Elements, sub-volumes, materials and arrays are kept. When two nodes of one\n"
              "element would become one, nothing is written. Elements on the nodes of an earlier one stay,\n"
              "with a warning and their count.\n\n"
              "Examples:\n"
              "  ketmesh weld pieces.vtu -o whole.vtu\n"
              "  ketmesh weld both.vtu -o welded.vtu --tolerance 0.001") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        command
            .add_option("--tolerance", m_options.tolerance,
                        "Distance in mm up to which nodes become one, directly or through others between "
                        "them (default: equal positions only)")
            ->type_name("MM")
            ->check(NonNegativeNumber());
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
                {"duplicate_elements", m_result.duplicate_elements},
                {"subvolumes", ToJson(m_result.subvolumes)}};
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_result.elements << " elements, "
            << m_result.nodes << " nodes; " << m_result.joined_nodes << " nodes joined with another, "
            << m_result.duplicate_elements << " duplicate elements\n\n";
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
