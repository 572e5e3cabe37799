// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Label.h>
#include <host/commands/Command.h>
#include <host/commands/SubVolumeTable.h>
#include <host/commands/options/MatchInput.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>

#include <cstddef>
#include <ostream>
#include <string>

namespace ketmesh {

namespace {

// Makes a sub-volume of every region of a mesh.
class LabelCommand : public Command {
public:
    LabelCommand()
        : Command("label", "Make a sub-volume of every region that a surface encloses",
                  "A region is all tetrahedra that are joined through faces without a triangle of the\n"
                  "surface on them. Without a surface the regions are the connected parts of the mesh.\n"
                  "The sub-volumes that the mesh has are given up; to keep them apart, give the surfaces\n"
                  "between them (ketmesh surfaces --interfaces). ketmesh group then joins regions by the\n"
                  "names of the surfaces around them.\n"
                  "Ten-node elements count by their corners: take their surface from ketmesh\n"
                  "surfaces.\n\n"
                  "Examples:\n"
                  "  ketmesh surfaces head.vtu --interfaces --names volumes -o head.vtp\n"
                  "  ketmesh label head.vtu --surface head.vtp -o regions.vtu\n"
                  "  ketmesh label head.vtu --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        m_surface.Declare(*this, command);
        m_output.Declare(*this, command, "Volume mesh to write with the regions as its sub-volumes");
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_output.Open({m_input.GetUnit()});
        KetSDK::MeshJobs::Model model = m_input.Read(context);
        KetSDK::MeshJobs::SurfaceModel const surface = m_surface.Read(m_input, context);
        m_result = KetSDK::MeshJobs::Label(model, m_surface.IsGiven() ? &surface : nullptr,
                                           {m_surface.GetTolerance()}, context);
        m_output.Write(model, context);
    }

    Json Report() const override {
        return {{"elements", m_result.elements}, {"subvolumes", ToJson(m_result.subvolumes)}};
    }

    void Print(std::ostream& out) const override {
        std::size_t const regions = m_result.subvolumes.size();
        out << Printable(m_input.GetFileName()) << ": " << m_result.elements << " elements in "
            << (regions == 1 ? "1 region" : std::to_string(regions) + " regions") << "\n\n";
        PrintSubVolumes(out, m_result.subvolumes);
    }

    ModelInput m_input;
    MatchInput m_surface;
    ModelOutput m_output;
    KetSDK::MeshJobs::LabelResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeLabelCommand() {
    return std::make_unique<LabelCommand>();
}

} // namespace ketmesh
