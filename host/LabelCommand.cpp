#include <KetSDK/Mesh/operators/MMeshOperatorLabelSubVolumes.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/MeshInput.h>
#include <host/MeshOutput.h>
#include <host/SubVolumeList.h>
#include <host/SurfaceMatch.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Warnings.h>

#include <iostream>

namespace ketmesh {

namespace {

// Makes a sub-volume of every region of a mesh.
class LabelCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command =
            *app.add_subcommand("label", "Make a sub-volume of every region that a surface encloses");
        command.footer(
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
            "  ketmesh label head.vtu --json");
        m_input.Declare(command);
        m_surface.Declare(command);
        m_output.Declare(command, "Volume mesh to write with the regions as its sub-volumes");
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        m_output.Open();
        MeshInput::Loaded const loaded = m_input.LoadTetrahedra(progress);
        MMeshBase& mesh = *loaded.mesh;
        std::unique_ptr<MStlBase> const stl = m_surface.Load(m_input, progress);
        m_surface.Map(*stl, mesh, m_warnings, progress);
        MMeshOperatorLabelSubVolumes label;
        label.SetMesh(&mesh);
        label.SetStl(stl.get());
        label.SetProgressDelegate(progress);
        bool const labelled = label.Operate();
        ThrowIfCancelled();
        if (!labelled)
            throw FileError(m_input.GetFileName(), "its regions could not be labelled");
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["subvolumes"] = SubVolumesOf(mesh);
        report["files"] = m_output.GetFiles();
        m_output.Write(loaded, m_input.GetUnit(), progress);
        m_surface.WarnWhenApart(*stl, mesh, m_input, m_warnings);
        report["warnings"] = m_warnings.GetList();
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        return Done;
    }

private:
    void _Print(Json const& report) const {
        std::size_t const regions = report["subvolumes"].size();
        std::cout << m_input.GetFileName() << ": " << report["elements"] << " elements in "
                  << (regions == 1 ? "1 region" : std::to_string(regions) + " regions") << "\n\n";
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

std::unique_ptr<Command> MakeLabelCommand() {
    return std::make_unique<LabelCommand>();
}

} // namespace ketmesh
