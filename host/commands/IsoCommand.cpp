// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Iso.h>
#include <host/commands/Command.h>
#include <host/commands/SolidsNote.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/SurfaceOutput.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>

#include <limits>
#include <ostream>

namespace ketmesh {

namespace {

// Extracts the surface on which a field of a mesh has one value.
class IsoCommand : public Command {
public:
    IsoCommand()
        : Command("iso", "Extract an isosurface of a field",
                  "The field is an array of points or, where there is none of that name, an array of\n"
                  "cells, whose values are averaged: a node gets the plain mean of the elements around\n"
                  "it. Between nodes the field is linear in each tetrahedron. Hexahedra and wedges are cut\n"
                  "into tetrahedra; ten-node elements are read through their four corners. Normals point\n"
                  "to higher values. An element with a corner without a value (NaN, infinite or beyond\n"
                  "1e300) gives no triangles. The surface is open where it leaves the mesh. A volume is\n"
                  "given for closed surfaces only.\n\n"
                  "Examples:\n"
                  "  ketmesh iso head.vtu --field grey --level 700 -o bone.stl\n"
                  "  ketmesh iso result.vtu --field displacement --component 2 --level -0.5 --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        command.add_option("--field", m_options.field, "Array of numbers on points or cells")
            ->required()
            ->type_name("NAME");
        command.add_option("--component", m_options.component, "Which component of the array, from 0")
            ->type_name("K")
            ->check(CLI::Range(0, std::numeric_limits<int>::max()));
        command.add_option("--level", m_options.level, "Value of the field on the surface")
            ->required()
            ->type_name("L")
            ->check(FiniteNumber());
        m_output.Declare(*this, command, "Surface file to write")->type_name("FILE");
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_output.Open();
        KetSDK::MeshJobs::Model const model = m_input.Read(context);
        m_rounding_error = model.rounding.largest_error;
        m_result = KetSDK::MeshJobs::Iso(model, m_options, context);
        m_output.Write(m_result.surface, {m_input.GetUnit(), true}, context);
    }

    Json Report() const override {
        Json report;
        report["field"] = m_options.field;
        AddSolids(report, m_result.solids);
        report["from"] = m_result.from_elements ? "cells" : "points";
        report["range"] = {m_result.min, m_result.max};
        report["nodes_without_value"] = m_result.nodes_without_value;
        report["level"] = m_options.level;
        report["triangles"] = m_result.triangles;
        report["points"] = m_result.points;
        report["collapsed"] = m_result.collapsed;
        report["area"] = m_result.area;
        report["closed"] = m_result.closed;
        report["enclosed_volume"] = m_result.enclosed_volume ? Json(*m_result.enclosed_volume) : Json();
        report["rounding_error"] = m_rounding_error;
        return report;
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName()) << ": " << Printable(m_options.field) << " at the nodes"
            << (m_result.from_elements ? ", averaged from cells" : "") << ", from "
            << FormatGeneral(m_result.min) << " to " << FormatGeneral(m_result.max) << "\n\n"
            << "level      " << FormatGeneral(m_options.level) << '\n'
            << "triangles  " << m_result.triangles << '\n'
            << "area       " << FormatNumber(m_result.area) << " mm2\n"
            << "closed     " << (m_result.closed ? "yes" : "no") << '\n';
        if (m_result.enclosed_volume)
            out << "volume     " << FormatNumber(*m_result.enclosed_volume) << " mm3\n";
        if (m_result.collapsed > 0)
            out << "left out   " << m_result.collapsed << " triangles that rounding made edges or points\n";
        PrintSolids(out, m_result.solids);
    }

    ModelInput m_input;
    SurfaceOutput m_output;
    KetSDK::MeshJobs::IsoOptions m_options;
    KetSDK::MeshJobs::IsoResult m_result;
    double m_rounding_error = 0.0;
};

} // namespace

std::unique_ptr<Command> MakeIsoCommand() {
    return std::make_unique<IsoCommand>();
}

} // namespace ketmesh
