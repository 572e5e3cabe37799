// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Frame.h>
#include <host/commands/Command.h>
#include <host/commands/options/FrameOption.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>

#include <cstdint>
#include <ostream>
#include <string>

namespace ketmesh {

namespace {

// Turns a mesh into another frame of coordinates.
class FrameCommand : public Command {
public:
    FrameCommand()
        : Command(
              "frame", "Turn a volume mesh into another frame of coordinates",
              "RAS: x points to the right of the body and y to its front, as in NIfTI files; LPS: x points\n"
              "to its left and y to its back, as in DICOM. z points to the head in both, so x and y\n"
              "change their signs. The file that is written says its frame: as field data SPACE in .vtu\n"
              "files, in the header of .vtk files, and in .kmesh files.\n\n"
              "Examples:\n"
              "  ketmesh frame femur.vtu -o femur_ras.vtu --to RAS\n"
              "  ketmesh frame old.vtk -o new.vtu --frame LPS --to RAS --vectors displacement") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        m_to.Declare(command, "--to", "Frame of the file that is written")->required();
        command
            .add_option("--vectors", m_options.vectors,
                        "Array of three components whose values are vectors, which are turned too; give it "
                        "again for more")
            ->type_name("NAME")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        m_output.Declare(*this, command, "Volume mesh to write, with all arrays of the one that is read")
            ->required();
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_options.to = m_to.Get().value();
        m_output.Open({m_input.GetUnit()});
        KetSDK::MeshJobs::Model model = m_input.Read(context);
        m_result = KetSDK::MeshJobs::ToFrame(model, m_options, context);
        m_elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
        m_nodes = static_cast<std::uint64_t>(model.mesh->NumberOfPoints());
        m_output.Write(model, context);
    }

    Json Report() const override {
        return {{"elements", m_elements},
                {"nodes", m_nodes},
                {"from", KetSDK::Mesh::FrameWord(m_result.from)},
                {"to", KetSDK::Mesh::FrameWord(m_options.to)},
                {"frame", KetSDK::Mesh::FrameWord(m_options.to)},
                {"vectors", m_options.vectors}};
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_elements << " elements, " << m_nodes
            << " nodes ";
        if (m_result.turned)
            out << "turned from " << KetSDK::Mesh::FrameWord(m_result.from) << " into "
                << KetSDK::Mesh::FrameWord(m_options.to) << '\n';
        else
            out << "are in " << KetSDK::Mesh::FrameWord(m_options.to) << " already\n";
    }

    ModelInput m_input;
    FrameOption m_to;
    ModelOutput m_output;
    KetSDK::MeshJobs::FrameOptions m_options;
    KetSDK::MeshJobs::FrameResult m_result;
    std::uint64_t m_elements = 0;
    std::uint64_t m_nodes = 0;
};

} // namespace

std::unique_ptr<Command> MakeFrameCommand() {
    return std::make_unique<FrameCommand>();
}

} // namespace ketmesh
