#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceChecker.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <host/Command.h>
#include <host/MatchCounts.h>
#include <host/MeshInput.h>
#include <host/SurfaceMatch.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>
#include <host/terminal/Table.h>
#include <host/terminal/Warnings.h>

#include <vtkUnstructuredGrid.h>

#include <cstdint>
#include <iostream>
#include <optional>
#include <string>

namespace ketmesh {

namespace {

// Counts how far a mesh and a surface correspond.
class MatchCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand("match", "Count how far a mesh and a surface correspond");
        command.footer(
            "A triangle faces the wrong way when it is outside and faces into the mesh, or lies\n"
            "between two sub-volumes and faces another way than most of its surface there.\n"
            "Mismatches are faces outside without a triangle, triangles without a face and those\n"
            "that face the wrong way; and faces between sub-volumes without a triangle, unless none\n"
            "of them has one.\n"
            "Ten-node elements count by their corners: take their surface from ketmesh\n"
            "surfaces.\n\n"
            "Examples:\n"
            "  ketmesh match head.vtu --surface head.vtp --fail-on 0\n"
            "  ketmesh match head.vtu --surface remeshed.stl --tolerance 0.5 --json");
        m_input.Declare(command);
        m_surface.Declare(command)->required();
        command
            .add_option("--fail-on", m_most,
                        "End with exit status 2 when there are more mismatches than this")
            ->type_name("N")
            ->check(Count());
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        MeshInput::Loaded loaded = m_input.LoadTetrahedra(progress);
        loaded.grid = nullptr;
        std::unique_ptr<MStlBase> const stl = m_surface.Load(m_input, progress);
        m_surface.Map(*stl, *loaded.mesh, m_warnings, progress);
        MMeshCorrespondenceChecker const checker(stl.get(), loaded.mesh.get());
        ThrowIfCancelled();
        std::uint64_t const mismatches = _Mismatches(checker);
        Json report;
        report["elements"] = loaded.mesh->NumberOfElements();
        report["tolerance"] = m_surface.GetTolerance();
        report.update(MatchCountsOf(checker));
        report["mismatches"] = mismatches;
        m_surface.WarnWhenApart(*stl, *loaded.mesh, m_input, m_warnings);
        report["warnings"] = m_warnings.GetList();
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        if (!m_most || mismatches <= *m_most)
            return Done;
        std::cerr << "ketmesh: " << m_surface.GetFileName() << ": " << mismatches << " mismatches with "
                  << m_input.GetFileName() << "; at most " << *m_most << " may be\n";
        return CheckFailed;
    }

private:
    static std::uint64_t _Mismatches(MMeshCorrespondenceChecker const& checker) {
        std::uint64_t const between =
            checker.GetNbInterfaceFacesWithTriangle() > 0 ? checker.GetNbInterfaceFacesWithoutTriangle() : 0;
        return checker.GetNbBoundaryFacesWithoutTriangle() + between + checker.GetNbTrianglesWithoutFace() +
               checker.GetNbTrianglesDisagreeing();
    }

    void _Print(Json const& report) const {
        std::cout << m_input.GetFileName() << " and " << m_surface.GetFileName() << ", tolerance "
                  << FormatGeneral(m_surface.GetTolerance()) << " mm\n\n";
        Table table(
            {{"", Table::Align::Left}, {"matched", Table::Align::Right}, {"unmatched", Table::Align::Right}});
        auto const add = [&](char const* name, char const* key, char const* with, char const* without) {
            Json const& counts = report[key];
            table.AddRow({name, counts[with].dump(), counts.contains(without) ? counts[without].dump() : ""});
        };
        add("faces outside", "boundary_faces", "with_triangle", "without_triangle");
        add("faces between sub-volumes", "interface_faces", "with_triangle", "without_triangle");
        add("faces inside sub-volumes", "inner_faces", "with_triangle", "without_triangle");
        add("triangles", "triangles", "with_face", "without_face");
        table.Print(std::cout);
        std::cout << "\nfacing the wrong way: " << report["wrong_way"]
                  << "\nmismatches: " << report["mismatches"] << '\n';
    }

    MeshInput m_input;
    SurfaceMatch m_surface;
    Warnings m_warnings;
    std::optional<std::uint64_t> m_most;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeMatchCommand() {
    return std::make_unique<MatchCommand>();
}

} // namespace ketmesh
