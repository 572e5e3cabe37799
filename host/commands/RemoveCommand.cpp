// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Remove.h>
#include <host/commands/Command.h>
#include <host/commands/SubVolumeTable.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>
#include <host/commands/options/SubVolumeNames.h>

#include <ostream>

namespace ketmesh {

namespace {

// Writes what is left of a mesh without some of its sub-volumes.
class RemoveCommand : public Command {
public:
    RemoveCommand()
        : Command("remove", "Remove sub-volumes from a volume mesh",
                  "Nodes that no element uses any more are removed too. Elements and nodes keep their\n"
                  "order and all arrays that the file has.\n\n"
                  "Examples:\n"
                  "  ketmesh remove head.vtu --name \"Label 1\" -o rest.vtu\n"
                  "  ketmesh remove head.vtu --name Skin --name Fat -o bone.vtu --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        DeclareSubVolumeNames(command, m_options.names,
                              "Sub-volume to remove, all where several have the name; give it again for more")
            ->required();
        m_output.Declare(*this, command, "Volume mesh to write")->required();
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_output.Open({m_input.GetUnit()});
        m_result = KetSDK::MeshJobs::Remove(m_input.Read(context), m_options, context);
        m_output.Write(m_result.model, context);
    }

    Json Report() const override {
        return {{"elements", m_result.elements},
                {"nodes", m_result.nodes},
                {"removed_elements", m_result.removed_elements},
                {"removed_nodes", m_result.removed_nodes},
                {"subvolumes", ToJson(m_result.subvolumes)}};
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_result.removed_elements << " elements and "
            << m_result.removed_nodes << " nodes removed\n\n";
        PrintSubVolumes(out, m_result.subvolumes);
    }

    ModelInput m_input;
    ModelOutput m_output;
    KetSDK::MeshJobs::RemoveOptions m_options;
    KetSDK::MeshJobs::RemoveResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeRemoveCommand() {
    return std::make_unique<RemoveCommand>();
}

} // namespace ketmesh
