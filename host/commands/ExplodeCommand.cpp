// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Explode.h>
#include <host/commands/Command.h>
#include <host/commands/CornersNote.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/SurfaceOutput.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>

#include <ostream>

namespace ketmesh {

namespace {

// Writes each tetrahedron as four triangles, shrunk so that the elements stand apart.
class ExplodeCommand : public Command {
public:
    ExplodeCommand()
        : Command("explode", "Write an exploded view: every tetrahedron as four triangles, shrunk",
                  "Every corner v of a tetrahedron moves to v (1 - F) + c F, where c is the mean of the\n"
                  "four corners: 0 leaves the elements as they are, 0.5 halves their edges, and the\n"
                  "volume becomes (1 - F)^3 of what it was. Ten-node tetrahedra count by their corners. A\n"
                  ".vtp file carries the cell arrays of the mesh, each triangle with the values of its\n"
                  "element, and the arrays element, face and node as ketmesh surfaces writes them.\n\n"
                  "Examples:\n"
                  "  ketmesh explode head.vtu --shrink 0.2 -o head_exploded.vtp\n"
                  "  ketmesh explode head_bad.vtu --shrink 0 --select bad -o bad.stl") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        command
            .add_option("--shrink", m_options.shrink,
                        "How far corners move towards the centroid: at least 0 and less than 1")
            ->type_name("F")
            ->required()
            ->check(FiniteNumber());
        command
            .add_option("--select", m_options.select,
                        "Cell array of numbers: take only elements whose value is not 0")
            ->type_name("ARRAY");
        m_output.Declare(*this, command, "Surface file to write")->required();
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        KetSDK::MeshJobs::RequireValid(m_options);
        m_output.Open();
        m_result = KetSDK::MeshJobs::Explode(m_input.Read(context), m_options, context);
        m_output.Write(m_result.surface, {m_input.GetUnit()}, context);
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        report["elements_taken"] = m_result.elements_taken;
        report["triangles"] = m_result.triangles;
        report["points"] = m_result.points;
        report["shrink"] = m_options.shrink;
        report["volume_factor"] = m_result.volume_factor;
        AddCornersNote(report, m_result.taken_by_corners);
        return report;
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << m_result.elements_taken << " of "
            << m_result.elements << " elements taken, " << m_result.triangles << " triangles\n"
            << "shrunk by " << FormatGeneral(m_options.shrink) << ": their volume is "
            << FormatGeneral(m_result.volume_factor) << " of what it was\n";
        PrintCornersNote(out, m_result.taken_by_corners);
    }

    ModelInput m_input;
    SurfaceOutput m_output;
    KetSDK::MeshJobs::ExplodeOptions m_options;
    KetSDK::MeshJobs::ExplodeResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeExplodeCommand() {
    return std::make_unique<ExplodeCommand>();
}

} // namespace ketmesh
