// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Group.h>
#include <host/commands/CornersNote.h>
#include <host/commands/MatchCounts.h>
#include <host/commands/RegroupingCommand.h>
#include <host/commands/SubVolumeTable.h>

namespace ketmesh {

namespace {

// Joins sub-volumes by the names of the surfaces around them.
class GroupCommand : public RegroupingCommand {
public:
    GroupCommand()
        : RegroupingCommand(
              {"group", "Join sub-volumes by the names of the surfaces around them",
               "Names of surfaces are split at the first \"-\": the word before it names the volume\n"
               "that the triangles face away from, the rest the one on their other side. The first\n"
               "face of a sub-volume that has a triangle gives its name, and sub-volumes of one name\n"
               "become one, named \"Volume <name>\". The .vtp file that ketmesh surfaces --names\n"
               "volumes writes brings the sub-volumes back under their own names, in their order. A\n"
               "surface without names is refused.\n\n"
               "Examples:\n"
               "  ketmesh surfaces head.vtu --interfaces --names volumes -o head.vtp\n"
               "  ketmesh label head.vtu --surface head.vtp -o regions.vtu\n"
               "  ketmesh group regions.vtu --surface head.vtp -o head_again.vtu",
               "Volume mesh to write with the groups as its sub-volumes"},
              Surface::Required) {}

private:
    void Regroup(KetSDK::MeshJobs::Model& model, KetSDK::MeshJobs::SurfaceModel const* surface,
                 KetSDK::MeshJobs::MatchOptions const& options,
                 KetSDK::MeshJobs::Context const& context) override {
        m_result = KetSDK::MeshJobs::Group(model, *surface, options, context);
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        report["groups_of"] = m_result.groups_of;
        report["subvolumes"] = ToJson(m_result.subvolumes);
        report.update(ToJson(m_result.counts));
        AddCornersNote(report, m_result.taken_by_corners);
        return report;
    }

    std::string Summary() const override {
        return std::to_string(m_result.groups_of) + " sub-volumes grouped to " +
               std::to_string(m_result.subvolumes.size());
    }

    std::vector<KetSDK::MeshJobs::SubVolumeReport> const& GetSubVolumes() const override {
        return m_result.subvolumes;
    }
    std::uint64_t GetTakenByCorners() const override { return m_result.taken_by_corners; }

    KetSDK::MeshJobs::GroupResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeGroupCommand() {
    return std::make_unique<GroupCommand>();
}

} // namespace ketmesh
