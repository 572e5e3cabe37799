// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Label.h>
#include <host/commands/CornersNote.h>
#include <host/commands/RegroupingCommand.h>
#include <host/commands/SolidsNote.h>
#include <host/commands/SubVolumeTable.h>

#include <cstddef>

namespace ketmesh {

namespace {

// Makes a sub-volume of every region of a mesh.
class LabelCommand : public RegroupingCommand {
public:
    LabelCommand()
        : RegroupingCommand(
              {"label", "Make a sub-volume of every region that a surface encloses",
               "A region is all elements that are joined through faces without a triangle of the\n"
               "surface on them. Without a surface the regions are the connected pieces of the mesh.\n"
               "They replace the sub-volumes that the mesh has; to keep these apart, give the surfaces\n"
               "between them (ketmesh surfaces --interfaces). ketmesh group then joins regions by the\n"
               "names of the surfaces around them. Ten-node elements count by their corners: take\n"
               "their surface from ketmesh surfaces.\n\n"
               "Examples:\n"
               "  ketmesh surfaces head.vtu --interfaces --names volumes -o head.vtp\n"
               "  ketmesh label head.vtu --surface head.vtp -o regions.vtu\n"
               "  ketmesh label head.vtu --json",
               "Volume mesh to write with the regions as its sub-volumes"},
              Surface::Optional) {}

private:
    void Regroup(KetSDK::MeshJobs::Model& model, KetSDK::MeshJobs::SurfaceModel const* surface,
                 KetSDK::MeshJobs::MatchOptions const& options,
                 KetSDK::MeshJobs::Context const& context) override {
        m_result = KetSDK::MeshJobs::Label(model, surface, options, context);
    }

    Json Report() const override {
        Json report = {{"elements", m_result.elements}};
        AddSolids(report, m_result.solids);
        AddCornersNote(report, m_result.taken_by_corners);
        report["subvolumes"] = ToJson(m_result.subvolumes);
        return report;
    }

    std::string Summary() const override {
        std::size_t const regions = m_result.subvolumes.size();
        return std::to_string(m_result.elements) + " elements in " + std::to_string(regions) +
               (regions == 1 ? " region" : " regions");
    }

    std::vector<KetSDK::MeshJobs::SubVolumeReport> const& GetSubVolumes() const override {
        return m_result.subvolumes;
    }
    KetSDK::MeshJobs::SolidsReport GetSolids() const override { return m_result.solids; }
    std::uint64_t GetTakenByCorners() const override { return m_result.taken_by_corners; }

    KetSDK::MeshJobs::LabelResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeLabelCommand() {
    return std::make_unique<LabelCommand>();
}

} // namespace ketmesh
