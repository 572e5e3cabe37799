// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Split.h>
#include <host/commands/Command.h>
#include <host/commands/SubVolumeTable.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>
#include <host/commands/options/SubVolumeNames.h>

#include <cstddef>
#include <ostream>

namespace ketmesh {

namespace {

// Splits sub-volumes into connected pieces.
class SplitCommand : public Command {
public:
    SplitCommand()
        : Command("split", "Split sub-volumes into their connected pieces",
                  "Elements that share a face are connected. The piece with the most elements keeps the\n"
                  "name; the others get it followed by 2, 3, ..., the larger ones first.\n\n"
                  "Examples:\n"
                  "  ketmesh split head.vtu -o pieces.vtu\n"
                  "  ketmesh split head.vtu --name \"Label 2\" -o pieces.vtu --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        DeclareSubVolumeNames(
            command, m_options.names,
            "Sub-volume to split (default: all), all where several have the name; give it again for more");
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
