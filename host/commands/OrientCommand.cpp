// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Orient.h>
#include <host/commands/Command.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>
#include <host/terminal/Format.h>

#include <ostream>

namespace ketmesh {

namespace {

// Turns inverted tetrahedra.
class OrientCommand : public Command {
public:
    OrientCommand()
        : Command("orient", "Correct the orientation of inverted tetrahedra",
                  "The corners of an inverted tetrahedron span a negative volume. Exchanging two of them\n"
                  "makes it positive; the mid-edge nodes of a quadratic one follow. Flat elements stay as\n"
                  "they are, and so do hexahedra and wedges. All arrays are kept.\n\n"
                  "Examples:\n"
                  "  ketmesh orient head.vtu -o head_oriented.vtu\n"
                  "  ketmesh orient head_tet10.vtu -o head_oriented.vtu --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        m_output.Declare(*this, command, "Volume mesh to write, with all arrays of the one that is read")
            ->required();
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_output.Open({m_input.GetUnit()});
        KetSDK::MeshJobs::Model model = m_input.Read(context);
        m_result = KetSDK::MeshJobs::Orient(model, context);
        m_output.Write(model, context);
    }

    Json Report() const override {
        return {{"elements", m_result.elements},
                {"tetrahedra", m_result.tetrahedra},
                {"flat", m_result.flat},
                {"corrected", m_result.corrected},
                {"volume_before", m_result.volume_before},
                {"volume_after", m_result.volume_after}};
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_result.elements << " elements, "
            << m_result.tetrahedra << " of them tetrahedra\n\n"
            << "  corrected        " << m_result.corrected << '\n'
            << "  volume before    " << FormatNumber(m_result.volume_before) << " mm3\n"
            << "  volume after     " << FormatNumber(m_result.volume_after) << " mm3\n";
        if (m_result.flat != 0)
            out << "  flat             " << m_result.flat
                << " elements without volume, which no turning helps, stay\n";
    }

    ModelInput m_input;
    ModelOutput m_output;
    KetSDK::MeshJobs::OrientResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeOrientCommand() {
    return std::make_unique<OrientCommand>();
}

} // namespace ketmesh
