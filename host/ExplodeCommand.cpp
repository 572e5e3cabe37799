#include <KetSDK/Mesh/operators/MMeshConvertToStlOperator.h>
#include <KetSDK/MeshVTK/Arrays.h>
#include <KetSDK/MeshVTK/PolyDataFromSurface.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <host/Command.h>
#include <host/ElementKinds.h>
#include <host/FileError.h>
#include <host/MeshInput.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>

#include <vtkCellData.h>
#include <vtkDataArray.h>
#include <vtkFieldData.h>
#include <vtkIdList.h>
#include <vtkNew.h>
#include <vtkPolyData.h>
#include <vtkUnstructuredGrid.h>

#include <cstdint>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

// Writes each tetrahedron as four triangles, shrunk so that the elements stand apart.
class ExplodeCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand(
            "explode", "Write every tetrahedron as four triangles, shrunk: exploded view");
        command.footer(
            "Every corner v of a tetrahedron moves to v (1 - F) + c F, where c is the mean of the four\n"
            "corners: 0 leaves the elements as they are, 0.5 halves their edges, and the volume becomes\n"
            "(1 - F)^3 of what it was. Ten-node tetrahedra count by their corners. A .vtp file carries the\n"
            "cell arrays of the mesh, each triangle with the values of its element.\n\n"
            "Examples:\n"
            "  ketmesh explode head.vtu --shrink 0.2 -o head_exploded.vtp\n"
            "  ketmesh explode head_bad.vtu --shrink 0 --select bad -o bad.stl");
        m_input.Declare(command);
        command
            .add_option("--shrink", m_shrink,
                        "How far corners move towards the centroid: from 0 up to, "
                        "but not, 1")
            ->type_name("F")
            ->required()
            ->check(FiniteNumber());
        command
            .add_option("--select", m_select,
                        "Cell array of numbers: only elements with another value than 0 are taken")
            ->type_name("ARRAY");
        command.add_option("-o,--output", m_output, "Surface file to write: .vtp, .stl, .ply or .obj")
            ->required();
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        if (!(m_shrink >= 0.0 && m_shrink < 1.0))
            throw std::invalid_argument("--shrink: " + FormatGeneral(m_shrink) +
                                        " is not from 0 (as they are) up to, but not, 1 (elements become "
                                        "points)");
        std::optional<KetSDK::MeshVTK::OutputFile> file;
        ForFile(m_output, [&] {
            KetSDK::MeshVTK::CheckSurfaceFileName(m_output);
            file.emplace(m_output);
        });
        MeshInput::Loaded const loaded = m_input.LoadTetrahedra(progress);
        MDataMask<MMeshElement, bool> selection(false);
        loaded.mesh->GetElementMasks()->RegisterMask(&selection);
        std::vector<vtkIdType> const taken = _Select(loaded, selection);
        MStlBase stl;
        stl.SetKeepNeighbourInfo(false); // nobody asks for it
        stl.AddSurface(nullptr)->SetName(L"Elements");
        MMeshConvertToStlOperator convert;
        convert.SetMesh(loaded.mesh.get());
        convert.SetStl(&stl);
        convert.SetEpsilon(m_shrink);
        convert.SetSelectionMask(&selection);
        if (!convert.Operate())
            throw FileError(m_input.GetFileName(), "its elements could not be turned into triangles");
        ThrowIfCancelled();
        Json const report = _Report(*loaded.mesh, taken.size(), stl);
        _Write(stl, *loaded.grid, taken, *file, progress);
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        return Done;
    }

private:
    // Sets the mask for the elements to take, and returns their cells.
    std::vector<vtkIdType> _Select(MeshInput::Loaded const& loaded,
                                   MDataMask<MMeshElement, bool>& selection) const {
        vtkDataArray* const values = m_select.empty() ? nullptr : _FindArray(*loaded.grid);
        std::vector<vtkIdType> taken;
        vtkIdType cell = 0;
        for (MMeshElement const& e : loaded.mesh->Elements()) {
            if (!values || values->GetComponent(cell, 0) != 0.0) {
                selection.SetValue(e, true);
                taken.push_back(cell);
            }
            ++cell;
        }
        if (values && taken.empty())
            throw FileError(m_input.GetFileName(), "the cell array \"" + m_select +
                                                       "\" is 0 on every element, so none would be taken");
        return taken;
    }

    vtkDataArray* _FindArray(vtkUnstructuredGrid& grid) const {
        return ForFile(m_input.GetFileName(), [&] {
            vtkDataArray* const array = KetSDK::MeshVTK::FindArray(*grid.GetCellData(), m_select);
            if (!array)
                throw KetSDK::MeshVTK::Error("there is no cell array \"" + m_select + "\"; " +
                                             KetSDK::MeshVTK::DescribeArrays(*grid.GetCellData(), "cell"));
            KetSDK::MeshVTK::CheckShape(*array, grid.GetNumberOfCells());
            return array;
        });
    }

    Json _Report(MMeshBase const& mesh, std::uint64_t taken, MStlBase const& stl) const {
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["elements_taken"] = taken;
        report["triangles"] = stl.NumberOfTriangles();
        report["points"] = stl.NumberOfPoints();
        report["shrink"] = m_shrink;
        report["volume_factor"] = (1.0 - m_shrink) * (1.0 - m_shrink) * (1.0 - m_shrink);
        AddNoteOnCorners(report, mesh);
        report["files"] = {m_output};
        return report;
    }

    void _Write(MStlBase const& stl, vtkUnstructuredGrid& grid, std::vector<vtkIdType> const& taken,
                KetSDK::MeshVTK::OutputFile& file, Progress const& progress) const {
        auto const data = KetSDK::MeshVTK::PolyDataFromSurfaces(stl, m_input.GetUnit());
        // What is known of the elements comes along, for each of their four triangles.
        vtkNew<vtkIdList> cells;
        for (vtkIdType const cell : taken)
            for (int face = 0; face < 4; ++face)
                cells->InsertNextId(cell);
        for (int i = 0; i < grid.GetCellData()->GetNumberOfArrays(); ++i) {
            vtkAbstractArray& of_cells = *grid.GetCellData()->GetAbstractArray(i);
            auto const values = vtkSmartPointer<vtkAbstractArray>::Take(of_cells.NewInstance());
            values->SetName(of_cells.GetName());
            values->SetNumberOfComponents(of_cells.GetNumberOfComponents());
            values->SetNumberOfTuples(cells->GetNumberOfIds());
            of_cells.GetTuples(cells, values);
            data->GetCellData()->AddArray(values);
        }
        for (int i = 0; i < grid.GetFieldData()->GetNumberOfArrays(); ++i)
            data->GetFieldData()->AddArray(grid.GetFieldData()->GetAbstractArray(i));
        ForFile(m_output, [&] { KetSDK::MeshVTK::WriteSurfaceFile(*data, file, progress); });
    }

    void _Print(Json const& report) const {
        std::cout << m_input.GetFileName() << ": " << report["elements_taken"] << " of " << report["elements"]
                  << " elements taken, " << report["triangles"] << " triangles\n"
                  << "shrunk by " << FormatGeneral(m_shrink) << ": their volume is "
                  << FormatGeneral(report["volume_factor"]) << " of what it was\n";
        if (report.contains("note"))
            std::cout << "note: " << report["note"].get<std::string>() << '\n';
        std::cout << "\nwritten: " << m_output << '\n';
    }

    MeshInput m_input;
    std::string m_select;
    std::string m_output;
    double m_shrink = 0.0;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeExplodeCommand() {
    return std::make_unique<ExplodeCommand>();
}

} // namespace ketmesh
