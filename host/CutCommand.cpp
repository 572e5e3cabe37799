#include <KetSDK/Mesh/operators/MMeshOperatorCutPlane.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <KetSDK/MeshVTK/PartArrays.h>
#include <KetSDK/MeshVTK/PolyDataFromSurface.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/MeshInput.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberList.h>
#include <host/terminal/Table.h>
#include <host/terminal/Warnings.h>

#include <vtkPolyData.h>
#include <vtkUnstructuredGrid.h>

#include <iostream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

namespace ketmesh {

namespace {

MMVector<double, 3> VectorFrom(std::string const& text) {
    std::vector<double> const numbers = ParseNumbers(text);
    return {numbers[0], numbers[1], numbers[2]};
}

// Cuts a mesh by a plane.
class CutCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand("cut", "Cut a volume mesh by a plane");
        command.footer("An element is above the plane, where the normal points, or below it when all its\n"
                       "nodes are, and cut otherwise. The section has a surface for each sub-volume, named\n"
                       "after it; in .vtp files its triangles have the values of the elements that they lie\n"
                       "in.\n\n"
                       "Examples:\n"
                       "  ketmesh cut head.vtu --normal 0,0,1 --point 0,0,80\n"
                       "  ketmesh cut head.vtu --normal 1,1,0 --point 120,120,80 -o section.vtp");
        m_input.Declare(command);
        command
            .add_option("--normal", m_normal, "Direction that is perpendicular to the plane, of any length")
            ->type_name("X,Y,Z")
            ->required()
            ->check(NumberList(3, "x,y,z of the plane's normal"));
        command.add_option("--point", m_point, "A point on the plane, in mm")
            ->type_name("X,Y,Z")
            ->required()
            ->check(NumberList(3, "x,y,z of a point on the plane"));
        command.add_option("-o,--output", m_output,
                           "Surface file to write the section to: .vtp, .stl, .ply or .obj");
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        MMeshOperatorCutPlane cut;
        cut.SetPlane(VectorFrom(m_normal), VectorFrom(m_point));
        if (!(cut.GetNormal().Length() > 0.0))
            throw std::invalid_argument("--normal " + m_normal + " has no direction");
        std::optional<KetSDK::MeshVTK::OutputFile> file;
        if (!m_output.empty())
            ForFile(m_output, [this, &file] {
                KetSDK::MeshVTK::CheckSurfaceFileName(m_output);
                file.emplace(m_output);
            });
        MeshInput::Loaded const loaded = m_input.Load(progress);
        cut.SetMesh(loaded.mesh.get());
        if (!cut.Operate())
            throw FileError(m_input.GetFileName(), "it could not be cut");
        ThrowIfCancelled();
        if (file)
            _Write(cut, loaded, *file, progress);
        Json report = _Report(cut, *loaded.mesh);
        if (cut.GetSection().NumberOfPolygons() == 0)
            m_warnings.Add(m_input.GetFileName() +
                           ": the section is empty: the plane does not meet the mesh");
        report["warnings"] = m_warnings.GetList();
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        return Done;
    }

private:
    void _Write(MMeshOperatorCutPlane const& cut, MeshInput::Loaded const& loaded,
                KetSDK::MeshVTK::OutputFile& file, Progress const& progress) const {
        MStlBase stl;
        std::vector<MMeshElement const*> const elements = cut.AddSurfaces(stl);
        std::unordered_map<MMeshElement const*, vtkIdType> cell_of;
        for (MMeshElement const* e : elements)
            cell_of[e] = 0;
        vtkIdType number = 0;
        for (MMeshElement const& e : loaded.mesh->Elements()) {
            if (auto const found = cell_of.find(&e); found != cell_of.end())
                found->second = number;
            ++number;
        }
        std::vector<vtkIdType> cells;
        for (MMeshElement const* e : elements)
            cells.push_back(cell_of[e]);
        ForFile(m_output, [&] {
            auto const grid = KetSDK::MeshVTK::GridFromMesh(*loaded.mesh, m_input.GetUnit(), loaded.grid);
            auto const section = KetSDK::MeshVTK::PolyDataFromSurfaces(stl, m_input.GetUnit());
            KetSDK::MeshVTK::AddCellArraysOf(*grid, cells, *section);
            KetSDK::MeshVTK::WriteSurfaceFile(*section, file, progress,
                                              KetSDK::MeshVTK::EmptySurface::Written);
        });
    }

    Json _Report(MMeshOperatorCutPlane const& cut, MMeshBase const& mesh) const {
        MMeshSection const& section = cut.GetSection();
        std::map<MMeshSubVolume const*, double> areas;
        for (std::uint64_t i = 0; i < section.NumberOfPolygons(); ++i)
            areas[mesh.GetSubVolume(*section.GetElement(i))] += section.GetArea(i);
        MSection const contours = cut.GetContours();
        Json report;
        report["area"] = section.GetArea();
        report["above"] = cut.GetNbAbove();
        report["below"] = cut.GetNbBelow();
        report["cut"] = cut.GetNbCut();
        report["contours"] = contours.NumberOfContours();
        report["contour_length"] = contours.GetLength();
        report["subvolumes"] = Json::array();
        for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
            report["subvolumes"].push_back({{"number", (*it)->GetID()},
                                            {"name", KetSDK::MeshVTK::ToUtf8((*it)->GetName())},
                                            {"area", areas[it->get()]}});
        report["files"] = Json::array();
        if (!m_output.empty())
            report["files"].push_back(m_output);
        return report;
    }

    void _Print(Json const& report) const {
        std::cout << m_input.GetFileName() << ": " << report["cut"] << " elements cut, " << report["above"]
                  << " above, " << report["below"] << " below\n"
                  << "contours        " << report["contours"] << ", "
                  << FormatNumber(report["contour_length"]) << " mm long together\n\n";
        Table table({{"number", Table::Align::Right},
                     {"sub-volume", Table::Align::Left},
                     {"area [mm2]", Table::Align::Right}});
        for (Json const& part : report["subvolumes"])
            table.AddRow({part["number"].dump(), part["name"], FormatNumber(part["area"], report["area"])});
        table.AddRule();
        table.AddRow({"", "all", FormatNumber(report["area"])});
        table.Print(std::cout);
        if (!m_output.empty())
            std::cout << "\nwritten: " << m_output << '\n';
    }

    MeshInput m_input;
    std::string m_normal;
    std::string m_point;
    std::string m_output;
    Warnings m_warnings;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeCutCommand() {
    return std::make_unique<CutCommand>();
}

} // namespace ketmesh
