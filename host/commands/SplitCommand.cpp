// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Split.h>
#include <host/commands/Command.h>
#include <host/commands/SubVolumeTable.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>

#include <cstddef>
#include <ostream>

namespace ketmesh {

namespace {

// Splits sub-volumes into the sets of elements that hang together.
class SplitCommand : public Command {
public:
    SplitCommand()
        : Command("split", "Split sub-volumes into the parts that hang together",
                  "Elements with a face in common hang together. The part with the most elements keeps\n"
                  "the name; the others get it with 2, 3, ... behind it, by descending size.\n\n"
                  "Examples:\n"
                  "  ketmesh split head.vtu -o parts.vtu\n"
                  "  ketmesh split head.vtu --name \"Label 2\" -o parts.vtu --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        command
            .add_option(
                "--name", m_options.names,
                "Sub-volume to split (all unless given), all where several have the name; as often as "
                "needed")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        m_output.Declare(*this, command, "Volume mesh to write, with all arrays of the one that is read");
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_output.Open({m_input.GetUnit()});
        KetSDK::MeshJobs::Model model = m_input.Read(context);
        m_result = KetSDK::MeshJobs::Split(model, m_options, context);
        m_output.Write(model, context);
    }

    Json Report() const override {
        return {{"elements", m_result.elements},
                {"nodes", m_result.nodes},
                {"new_subvolumes", m_result.new_subvolumes},
                {"subvolumes", ToJson(m_result.subvolumes)}};
    }

    void Print(std::ostream& out) const override {
        std::size_t const count = m_result.subvolumes.size();
        out << Printable(m_input.GetFileName()) << ": " << count
            << (count == 1 ? " sub-volume, " : " sub-volumes, ") << m_result.new_subvolumes
            << " of them new\n\n";
        PrintSubVolumes(out, m_result.subvolumes);
    }

    ModelInput m_input;
    ModelOutput m_output;
    KetSDK::MeshJobs::SplitOptions m_options;
    KetSDK::MeshJobs::SplitResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeSplitCommand() {
    return std::make_unique<SplitCommand>();
}

} // namespace ketmesh
