// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Group.h>
#include <host/commands/Command.h>
#include <host/commands/MatchCounts.h>
#include <host/commands/SubVolumeTable.h>
#include <host/commands/options/MatchInput.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>

#include <ostream>

namespace ketmesh {

namespace {

// Joins sub-volumes by the names of the surfaces around them.
class GroupCommand : public Command {
public:
    GroupCommand()
        : Command("group", "Join sub-volumes by the names of the surfaces around them",
                  "Names of surfaces are split at the first \"-\": the first part names the volume that\n"
                  "the triangles face away from, the second the one on their other side. The first face\n"
                  "of a sub-volume that has a triangle gives its name, and sub-volumes of one name become\n"
                  "one, named \"Volume <part>\". The .vtp file that ketmesh surfaces --names volumes writes\n"
                  "brings the sub-volumes back under their own names, in their order. A surface without\n"
                  "names is refused.\n\n"
                  "Examples:\n"
                  "  ketmesh surfaces head.vtu --interfaces --names volumes -o head.vtp\n"
                  "  ketmesh label head.vtu --surface head.vtp -o regions.vtu\n"
                  "  ketmesh group regions.vtu --surface head.vtp -o head_again.vtu") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        m_surface.Declare(*this, command)->required();
        m_output.Declare(*this, command, "Volume mesh to write with the groups as its sub-volumes");
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_output.Open({m_input.GetUnit()});
        KetSDK::MeshJobs::Model model = m_input.Read(context);
        m_result = KetSDK::MeshJobs::Group(model, m_surface.Read(m_input, context),
                                           {m_surface.GetTolerance()}, context);
        m_output.Write(model, context);
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        report["groups_of"] = m_result.groups_of;
        report["subvolumes"] = ToJson(m_result.subvolumes);
        report.update(ToJson(m_result.counts));
        return report;
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_result.groups_of << " sub-volumes grouped to "
            << m_result.subvolumes.size() << "\n\n";
        PrintSubVolumes(out, m_result.subvolumes);
    }

    ModelInput m_input;
    MatchInput m_surface;
    ModelOutput m_output;
    KetSDK::MeshJobs::GroupResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeGroupCommand() {
    return std::make_unique<GroupCommand>();
}

} // namespace ketmesh
