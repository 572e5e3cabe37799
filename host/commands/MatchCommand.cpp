// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Match.h>
#include <KetSDK/MeshVTK/Text.h>
#include <host/commands/Command.h>
#include <host/commands/CornersNote.h>
#include <host/commands/MatchCounts.h>
#include <host/commands/SolidsNote.h>
#include <host/commands/options/FailOn.h>
#include <host/commands/options/MatchInput.h>
#include <host/commands/options/ModelInput.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>

#include <cstdint>
#include <iostream>
#include <string>

namespace ketmesh {

namespace {

// Counts how far a mesh and a surface correspond.
class MatchCommand : public Command {
public:
    MatchCommand()
        : Command("match", "Count how far a mesh and a surface correspond",
                  "A triangle faces the wrong way when it is outside and faces into the mesh, or lies\n"
                  "between two sub-volumes and faces another way than most of its surface there.\n"
                  "Mismatches are faces outside without a triangle, triangles without a face and those\n"
                  "that face the wrong way; and faces between sub-volumes without a triangle, unless none\n"
                  "of them has one.\n"
                  "Ten-node elements count by their corners: take their surface from ketmesh\n"
                  "surfaces. Hexahedra and wedges are cut into tetrahedra, whose faces count.\n\n"
                  "Examples:\n"
                  "  ketmesh match head.vtu --surface head.vtp --fail-on 0\n"
                  "  ketmesh match head.vtu --surface remeshed.stl --tolerance 0.5 --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        m_surface.Declare(*this, command)->required();
        m_fail_on.Declare(command, "End with exit status 2 when there are more mismatches than this");
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        KetSDK::MeshJobs::Model const model = m_input.Read(context);
        m_result = KetSDK::MeshJobs::Match(model, m_surface.Read(m_input, context),
                                           {m_surface.GetTolerance()}, context);
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        AddSolids(report, m_result.solids);
        AddCornersNote(report, m_result.taken_by_corners);
        report["tolerance"] = m_surface.GetTolerance();
        report.update(ToJson(m_result.counts));
        report["mismatches"] = m_result.counts.GetMismatches();
        return report;
    }

    void Print(std::ostream& out) const override {
        KetSDK::MeshJobs::MatchCounts const& counts = m_result.counts;
        out << Printable(m_input.GetFileName()) << " and " << Printable(m_surface.GetFileName())
            << ", tolerance " << FormatGeneral(m_surface.GetTolerance()) << " mm\n\n";
        Table table(
            {{"", Table::Align::Left}, {"matched", Table::Align::Right}, {"unmatched", Table::Align::Right}});
        auto const add = [&table](char const* name, std::uint64_t with, std::uint64_t without) {
            table.AddRow({name, std::to_string(with), std::to_string(without)});
        };
        add("faces outside", counts.boundary.with_triangle, counts.boundary.without_triangle);
        add("faces between sub-volumes", counts.interfaces.with_triangle, counts.interfaces.without_triangle);
        table.AddRow({"faces inside sub-volumes", std::to_string(counts.inner), ""});
        add("triangles", counts.with_face, counts.without_face);
        table.Print(out);
        out << "\nfacing the wrong way: " << counts.wrong_way << "\nmismatches: " << counts.GetMismatches()
            << '\n';
        PrintSolids(out, m_result.solids);
        PrintCornersNote(out, m_result.taken_by_corners);
    }

    int Check() const override {
        std::uint64_t const mismatches = m_result.counts.GetMismatches();
        if (!m_fail_on.IsExceededBy(mismatches))
            return Done;
        std::cerr << "ketmesh: " << Printable(m_surface.GetFileName()) << ": " << mismatches
                  << " mismatches with " << Printable(m_input.GetFileName()) << "; " << m_fail_on.Describe()
                  << " may be\n";
        return CheckFailed;
    }

    ModelInput m_input;
    MatchInput m_surface;
    FailOn m_fail_on;
    KetSDK::MeshJobs::MatchResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeMatchCommand() {
    return std::make_unique<MatchCommand>();
}

} // namespace ketmesh
