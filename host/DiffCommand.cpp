#include <KetSDK/Mesh/persistence/MMeshDifference.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <host/ArrayDifference.h>
#include <host/Command.h>
#include <host/MeshFile.h>
#include <host/MeshInput.h>
#include <host/terminal/Cancellation.h>

#include <vtkUnstructuredGrid.h>

#include <iostream>
#include <optional>
#include <string>

namespace ketmesh {

namespace {

using Difference = std::optional<std::string>;

// Says whether two mesh files are equal.
class DiffCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand("diff", "Say whether two volume meshes are equal");
        command.footer(
            "Names the first difference, the value in the first file first: of nodes, elements, their\n"
            "values, materials, sub-volumes, scalar fields and all other arrays, bit for bit. Nodes,\n"
            "elements and sub-volumes count from 0. A .kmesh file and a .vtu or .vtk file are equal\n"
            "when writing the one to a file like the other would give that; it is said when the .kmesh\n"
            "file has more than that. Exit status 2 when the meshes differ.\n\n"
            "Examples:\n"
            "  ketmesh diff head.vtu head.kmesh\n"
            "  ketmesh diff before.kmesh after.kmesh --json");
        m_input.Declare(command);
        command.add_option("other", m_other, "Volume mesh to compare it with")->required();
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        MeshInput const other = m_input.WithFile(m_other);
        MeshInput::Loaded const a = m_input.Load(progress);
        MeshInput::Loaded const b = other.Load(progress);
        _Compare(a, b, progress);
        ThrowIfCancelled();
        Json report;
        report["equal"] = !m_difference;
        report["first_difference"] = m_difference ? Json(*m_difference) : Json();
        report["left_out"] = m_left_out ? Json(*m_left_out) : Json();
        report["elements"] = {a.mesh->NumberOfElements(), b.mesh->NumberOfElements()};
        report["nodes"] = {a.mesh->NumberOfPoints(), b.mesh->NumberOfPoints()};
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        return m_difference ? CheckFailed : Done;
    }

private:
    void _Compare(MeshInput::Loaded const& a, MeshInput::Loaded const& b, Progress const& progress) {
        m_difference = FindMeshDifference(*a.mesh, *b.mesh);
        bool const first_is_mesh_file = IsMeshFileName(m_input.GetFileName());
        if (!m_difference || first_is_mesh_file == IsMeshFileName(m_other)) {
            _CompareArrays(a, b);
            return;
        }
        // Files of VTK cannot hold all of it: what would be read of one counts.
        m_left_out = m_difference;
        MeshInput::Loaded reduced;
        try {
            reduced = m_input.MakeMesh((first_is_mesh_file ? a : b).grid, progress);
        } catch (KetSDK::MeshVTK::Error const&) { // no file of VTK could hold the mesh at all
            m_left_out.reset();
            return;
        }
        MeshInput::Loaded const& first = first_is_mesh_file ? reduced : a;
        MeshInput::Loaded const& second = first_is_mesh_file ? b : reduced;
        m_difference = FindMeshDifference(*first.mesh, *second.mesh);
        _CompareArrays(first, second);
        if (m_difference)
            m_left_out.reset();
    }

    // Looks at the arrays that the meshes themselves do not carry when nothing else differs.
    void _CompareArrays(MeshInput::Loaded const& a, MeshInput::Loaded const& b) {
        using KetSDK::MeshVTK::ArraysBesideMesh;
        if (!m_difference)
            m_difference =
                FindArrayDifference(*ArraysBesideMesh(*a.mesh, *a.grid), *ArraysBesideMesh(*b.mesh, *b.grid));
    }

    void _Print(Json const& report) const {
        std::string const files = m_input.GetFileName() + " and " + m_other;
        if (m_difference) {
            std::cout << files << " differ: " << *m_difference << '\n';
            return;
        }
        std::cout << files << " are equal: " << report["elements"][0] << " elements, " << report["nodes"][0]
                  << " nodes\n";
        if (m_left_out)
            std::cout << "The .kmesh file has more than files of VTK hold: " << *m_left_out << '\n';
    }

    MeshInput m_input;
    std::string m_other;
    bool m_json = false;
    Difference m_difference;
    Difference m_left_out; // what only a .kmesh file can hold, in files of different kinds that are equal
};

} // namespace

std::unique_ptr<Command> MakeDiffCommand() {
    return std::make_unique<DiffCommand>();
}

} // namespace ketmesh
