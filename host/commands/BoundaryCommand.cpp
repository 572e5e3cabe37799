// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Boundary.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <host/commands/Command.h>
#include <host/commands/SolidsNote.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/SurfaceOutput.h>
#include <host/terminal/Format.h>

#include <ostream>
#include <string>

namespace ketmesh {

namespace {

// Writes the boundary of a mesh as one surface.
class BoundaryCommand : public Command {
public:
    BoundaryCommand()
        : Command("boundary", "Write the boundary of a mesh as one surface",
                  "The boundary is made of the faces that no other element shares. Hexahedra and wedges\n"
                  "are cut into tetrahedra that fit together. With --interfaces, faces between two\n"
                  "sub-volumes count too; they are written once, seen from the sub-volume of the lower\n"
                  "number. Ten-node tetrahedra are cut into eight, so that each of their faces gives four\n"
                  "triangles; with --simplify it gives one. In .vtp files the triangles have the arrays\n"
                  "element and face, the points node, as ketmesh surfaces writes them.\n\n"
                  "Examples:\n"
                  "  ketmesh boundary head.vtu -o skin.stl\n"
                  "  ketmesh boundary model.vtu -o model.vtp --interfaces --colors") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        m_output.Declare(*this, command, "Surface file to write")->required();
        CLI::Option* const interfaces = command.add_flag("--interfaces", m_options.interfaces,
                                                         "Take the faces between sub-volumes as well");
        command.add_flag("--simplify", m_options.simplify, "Take ten-node tetrahedra by their corners");
        command.add_flag("--colors", m_options.colors,
                         "Write the colours of the materials, as the cell array color: .vtp and .ply only");
        command
            .add_flag("--all-faces", m_options.all_faces,
                      "Write every face of every tetrahedron, those inside the mesh once from each side")
            ->excludes(interfaces);
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_output.Open();
        CheckHoldsColors();
        KetSDK::MeshJobs::Model const model = m_input.Read(context);
        m_result = KetSDK::MeshJobs::Boundary(model, m_options, context);
        m_output.Write(m_result.surface, {m_input.GetUnit()}, context);
    }

    void CheckHoldsColors() const {
        std::string const ending = KetSDK::MeshVTK::LowerCaseEnding(m_output.GetFileName());
        if (m_options.colors && ending != ".vtp" && ending != ".ply")
            throw KetSDK::MeshJobs::FileError(m_output.GetFileName(),
                                              "only .vtp and .ply files hold the colours of --colors");
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        AddSolids(report, m_result.solids);
        report["nodes"] = m_result.nodes;
        report["boundary_elements"] = m_result.boundary_elements;
        report["boundary_nodes"] = m_result.boundary_nodes;
        report["triangles"] = m_result.triangles;
        report["area"] = m_result.area;
        report["closed"] = m_result.closed;
        return report;
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ":\n"
            << "  triangles        " << m_result.triangles << (m_options.all_faces ? ", all faces\n" : "\n")
            << "  area             " << FormatNumber(m_result.area) << " mm2\n"
            << "  closed           " << (m_result.closed ? "yes" : "no") << '\n'
            << "  on the boundary  " << m_result.boundary_elements << " of " << m_result.elements
            << " elements, " << m_result.boundary_nodes << " of " << m_result.nodes << " nodes\n";
        PrintSolids(out, m_result.solids);
    }

    ModelInput m_input;
    SurfaceOutput m_output;
    KetSDK::MeshJobs::BoundaryOptions m_options;
    KetSDK::MeshJobs::BoundaryResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeBoundaryCommand() {
    return std::make_unique<BoundaryCommand>();
}

} // namespace ketmesh
