#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceChecker.h>
#include <KetSDK/Mesh/operators/MMeshOperatorGroupSubVolumes.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/MatchCounts.h>
#include <host/MeshInput.h>
#include <host/MeshOutput.h>
#include <host/SubVolumeList.h>
#include <host/SurfaceMatch.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Warnings.h>

#include <cstdint>
#include <iostream>

namespace ketmesh {

namespace {

// Joins sub-volumes by the names of the surfaces around them.
class GroupCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command =
            *app.add_subcommand("group", "Join sub-volumes by the names of the surfaces around them");
        command.footer(
            "Names of surfaces are split at the first \"-\": the first part names the volume that\n"
            "the triangles face away from, the second the one on their other side. The first face\n"
            "of a sub-volume that has a triangle gives its name, and sub-volumes of one name become\n"
            "one, named \"Volume <part>\". Only .vtp files hold names; with --names volumes ketmesh\n"
            "surfaces gives those that bring the sub-volumes back.\n\n"
            "Examples:\n"
            "  ketmesh surfaces head.vtu --interfaces --names volumes -o head.vtp\n"
            "  ketmesh label head.vtu --surface head.vtp -o regions.vtu\n"
            "  ketmesh group regions.vtu --surface head.vtp -o head_again.vtu");
        m_input.Declare(command);
        m_surface.Declare(command)->required();
        m_output.Declare(command, "Volume mesh to write with the groups as its sub-volumes");
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        m_output.Open();
        MeshInput::Loaded const loaded = m_input.LoadTetrahedra(progress);
        MMeshBase& mesh = *loaded.mesh;
        std::unique_ptr<MStlBase> const stl = m_surface.Load(m_input, progress);
        m_surface.Map(*stl, mesh, m_warnings, progress);
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["groups_of"] = mesh.NumberOfSubVolumes();
        report["subvolumes"] = nullptr; // in its place
        report.update(MatchCountsOf(MMeshCorrespondenceChecker(stl.get(), &mesh)));
        ThrowIfCancelled();
        MMeshOperatorGroupSubVolumes group;
        group.SetMesh(&mesh);
        group.SetStl(stl.get());
        group.SetProgressDelegate(progress);
        if (!group.Operate())
            throw FileError(m_input.GetFileName(), "its sub-volumes could not be grouped");
        ThrowIfCancelled();
        report["subvolumes"] = SubVolumesOf(mesh);
        report["files"] = m_output.GetFiles();
        m_output.Write(loaded, m_input.GetUnit(), progress);
        m_surface.WarnWhenApart(*stl, mesh, m_input, m_warnings);
        _WarnOfFaces(report);
        report["warnings"] = m_warnings.GetList();
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        return Done;
    }

private:
    void _WarnOfFaces(Json const& report) {
        std::uint64_t const outside = report["boundary_faces"]["without_triangle"];
        std::uint64_t const between = report["interface_faces"]["without_triangle"];
        if (outside + between > 0)
            m_warnings.Add(m_input.GetFileName() + ": " + std::to_string(outside) + " faces outside and " +
                           std::to_string(between) +
                           " between sub-volumes have no triangle; a sub-volume with none on any of its "
                           "faces has no name");
    }

    void _Print(Json const& report) const {
        std::cout << m_input.GetFileName() << ": " << report["groups_of"] << " sub-volumes grouped to "
                  << report["subvolumes"].size() << "\n\n";
        PrintSubVolumes(report["subvolumes"]);
        if (m_output.IsGiven())
            std::cout << "\nwritten: " << m_output.GetFileName() << '\n';
    }

    MeshInput m_input;
    SurfaceMatch m_surface;
    Warnings m_warnings;
    MeshOutput m_output;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeGroupCommand() {
    return std::make_unique<GroupCommand>();
}

} // namespace ketmesh
