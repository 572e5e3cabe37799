#include <KetSDK/Mesh/operators/MMeshOperatorSTL.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSTL.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSurface.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSurface.h>
#include <KetSDK/MeshVTK/PolyDataFromSurface.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/MarkedFaces.h>
#include <host/MeshInput.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>

#include <vtkPolyData.h>
#include <vtkUnstructuredGrid.h>

#include <cstdint>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>

namespace ketmesh {

namespace {

// The triangles of all tetrahedra of a mesh.
void WriteTriangles(MMeshBase& mesh, bool simplify, MStlBase& stl) {
    MMeshOperatorSettingsSTL settings;
    settings.SetSimplify(simplify);
    MMeshOperatorSTL write;
    write.SetMesh(&mesh);
    write.SetSettings(&settings);
    write.SetStl(&stl);
    write.Operate();
}

// Writes the boundary of a mesh as one surface.
class BoundaryCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand("boundary", "Write the boundary of a mesh as one surface");
        command.footer(
            "The boundary are the faces of the tetrahedra that the elements are cut into which no other\n"
            "element shares. With --interfaces, faces between two sub-volumes count too; they are written\n"
            "once, seen from the sub-volume of the lower number. Ten-node tetrahedra are cut into eight,\n"
            "so that each of their faces gives four triangles; with --simplify it gives one.\n\n"
            "Examples:\n"
            "  ketmesh boundary head.vtu -o skin.stl\n"
            "  ketmesh boundary model.vtu -o model.vtp --interfaces --colors");
        m_input.Declare(command);
        command.add_option("-o,--output", m_output, "Surface file to write: .vtp, .stl, .ply or .obj")
            ->required();
        CLI::Option* const interfaces =
            command.add_flag("--interfaces", m_interfaces, "Take the faces between sub-volumes as well");
        command.add_flag("--simplify", m_simplify, "Take ten-node tetrahedra by their corners");
        command.add_flag("--colors", m_colors,
                         "Write the colours of the materials, as the cell array color: .vtp and .ply only");
        command
            .add_flag("--all-faces", m_all_faces,
                      "Write every face of every tetrahedron, those inside the mesh once from each side")
            ->excludes(interfaces);
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        std::optional<KetSDK::MeshVTK::OutputFile> file;
        ForFile(m_output, [&] {
            KetSDK::MeshVTK::CheckSurfaceFileName(m_output);
            _CheckHoldsColors();
            file.emplace(m_output);
        });
        MeshInput::Loaded loaded = m_input.Load(progress);
        loaded.grid = nullptr; // a large mesh needs the memory for its surface
        MMeshBase& mesh = *loaded.mesh;
        if (m_colors && mesh.GetMaterialCatalog().NumberOfMaterials() == 0)
            throw FileError(m_input.GetFileName(), "it has no materials whose colours --colors could write; "
                                                   "ketmesh materials assigns some");
        MMeshOperatorSettingsSurface settings;
        settings.SetInterfacesAreBoundary(m_interfaces);
        MMeshOperatorSurface mark;
        mark.SetMesh(&mesh);
        mark.SetSettings(&settings);
        if (!mark.Operate())
            throw FileError(m_input.GetFileName(), "its boundary could not be found");
        ThrowIfCancelled();
        Json report = _Report(mesh);
        MStlBase stl;
        if (m_all_faces)
            WriteTriangles(mesh, m_simplify, stl);
        else
            _WriteMarked(mesh, stl);
        stl.GetSurface(0)->SetName(m_all_faces ? L"All faces" : L"Boundary");
        ThrowIfCancelled();
        report["triangles"] = stl.NumberOfTriangles();
        report["area"] = stl.GetSurface(0)->GetArea();
        report["closed"] = stl.GetSurface(0)->IsClosed();
        report["files"] = {m_output};
        _Write(stl, *file, progress);
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        return Done;
    }

private:
    void _CheckHoldsColors() const {
        std::string const ending = std::filesystem::path(m_output).extension().string();
        if (m_colors && ending != ".vtp" && ending != ".ply")
            throw KetSDK::MeshVTK::Error("only .vtp and .ply files hold the colours of --colors");
    }

    // The elements on the boundary alone are turned into triangles, of which the marked ones are kept.
    void _WriteMarked(MMeshBase& mesh, MStlBase& stl) const {
        MarkedElements const marked(mesh);
        MStlBase all;
        WriteTriangles(marked.GetMesh(), m_simplify, all);
        marked.CopyMarked(all, m_simplify, stl);
    }

    Json _Report(MMeshBase& mesh) const {
        std::uint64_t elements = 0;
        for (MMeshElement const& e : mesh.Elements())
            elements += !mesh.GetElementMasks()->GetSurfaceMask()->GetValue(e).IsEmpty();
        std::uint64_t nodes = 0;
        for (MMeshPointIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p) {
            MMeshTriangleIterator** triangles = nullptr;
            unsigned long long count = 0;
            mesh.GetPointMasks()->GetNeighbourMaskPointInfo(*p, triangles, count);
            nodes += count > 0;
        }
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["nodes"] = mesh.NumberOfPoints();
        report["boundary_elements"] = elements;
        report["boundary_nodes"] = nodes;
        return report;
    }

    void _Write(MStlBase const& stl, KetSDK::MeshVTK::OutputFile& file, Progress const& progress) const {
        auto const data = KetSDK::MeshVTK::PolyDataFromSurfaces(stl, m_input.GetUnit());
        if (m_colors)
            KetSDK::MeshVTK::AddColors(*data, stl);
        ForFile(m_output, [&] { KetSDK::MeshVTK::WriteSurfaceFile(*data, file, progress); });
    }

    void _Print(Json const& report) const {
        std::cout << m_input.GetFileName() << ":\n"
                  << "  triangles        " << report["triangles"] << (m_all_faces ? ", all faces\n" : "\n")
                  << "  area             " << FormatNumber(report["area"]) << " mm2\n"
                  << "  closed           " << (report["closed"] ? "yes" : "no") << '\n'
                  << "  on the boundary  " << report["boundary_elements"] << " of " << report["elements"]
                  << " elements, " << report["boundary_nodes"] << " of " << report["nodes"] << " nodes\n"
                  << "\nwritten: " << m_output << '\n';
    }

    MeshInput m_input;
    std::string m_output;
    bool m_interfaces = false;
    bool m_simplify = false;
    bool m_colors = false;
    bool m_all_faces = false;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeBoundaryCommand() {
    return std::make_unique<BoundaryCommand>();
}

} // namespace ketmesh
