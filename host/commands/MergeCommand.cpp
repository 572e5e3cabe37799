// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Merge.h>
#include <host/commands/Command.h>
#include <host/commands/SubVolumeTable.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>

#include <ostream>
#include <string>

namespace ketmesh {

namespace {

// Makes one mesh of two.
class MergeCommand : public Command {
public:
    MergeCommand()
        : Command("merge", "Merge two volume meshes into one",
                  "Elements and nodes of the first mesh come first, then those of the second. Nodes of\n"
                  "both meshes at one position become one; nodes of the first mesh are not joined with\n"
                  "each other. The sub-volumes of the second mesh follow those of the first, under their\n"
                  "names. Equal materials become one; others keep their numbers where these are free. An\n"
                  "array that only one mesh has is filled for the other with NaN, or with 0 where its\n"
                  "numbers are whole; a warning says so. Elements on the nodes of an earlier one stay, with\n"
                  "a warning and their count.\n\n"
                  "Examples:\n"
                  "  ketmesh merge bone.vtu implant.vtu -o both.vtu\n"
                  "  ketmesh merge bone.vtu implant.vtu -o both.vtu --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        command.add_option("other", m_other, "Volume mesh that is added to it, in the same unit")->required();
        DeclareInput(m_other);
        m_output.Declare(*this, command, "Volume mesh to write")->required();
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_output.Open({m_input.GetUnit()});
        KetSDK::MeshJobs::Model model = m_input.Read(context);
        m_result = KetSDK::MeshJobs::Merge(
            model, KetSDK::MeshJobs::ReadModel(m_other, m_input.GetOptions(), context), context);
        m_output.Write(model, context);
    }

    Json Report() const override {
        return {{"elements", m_result.elements},
                {"nodes", m_result.nodes},
                {"joined_nodes", m_result.joined_nodes},
                {"duplicate_elements", m_result.duplicate_elements},
                {"subvolumes", ToJson(m_result.subvolumes)}};
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << " and " << Printable(m_other) << ": " << m_result.elements
            << " elements, " << m_result.nodes << " nodes; " << m_result.joined_nodes
            << " nodes joined with another, " << m_result.duplicate_elements << " duplicate elements\n\n";
        PrintSubVolumes(out, m_result.subvolumes);
    }

    ModelInput m_input;
    ModelOutput m_output;
    std::string m_other;
    KetSDK::MeshJobs::MergeResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeMergeCommand() {
    return std::make_unique<MergeCommand>();
}

} // namespace ketmesh
