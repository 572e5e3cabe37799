#include <KetSDK/Mesh/geometry/MMeshGrowBadTetsOperator.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/MeshVTK/PolyDataFromSurface.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/Measuring.h>
#include <host/MeshInput.h>
#include <host/Threads.h>
#include <host/commands/options/BadThreshold.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>
#include <host/terminal/Warnings.h>

#include <vtkCellData.h>
#include <vtkNew.h>
#include <vtkPolyData.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

using Marks = MMeshGrowBadTetsOperator::ResultMask;

QualityMetric const& FindMetric(std::string const& name) {
    std::vector<QualityMetric const*> const metrics = FindMetrics(name);
    if (metrics.size() != 1)
        throw std::invalid_argument("--metric takes one metric here");
    return *metrics.front();
}

std::unique_ptr<MStlBase> ExteriorOf(MMeshBase& mesh) {
    auto stl = std::make_unique<MStlBase>();
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetStl(stl.get());
    extract.Operate();
    return stl;
}

// How many triangles of a surface are boundary faces of the mesh.
std::uint64_t CountOnMesh(MStlBase const& stl, MMeshBase& mesh) {
    std::unique_ptr<MStlBase const> const exterior = ExteriorOf(mesh);
    auto const counterpart = [&exterior](MStlPoint const& p) {
        return exterior->FindPoint(p.GetX(), p.GetY(), p.GetZ());
    };
    auto const is_on_mesh = [&counterpart](MStlTriangle const& triangle) {
        MStlPoint const* corners[3];
        for (std::size_t i = 0; i < 3; ++i)
            if (!(corners[i] = counterpart(*triangle.GetPoint(i))))
                return false;
        for (std::uint32_t i = 0; i < corners[0]->GetNumberOfNeighbourTriangles(); ++i) {
            MStlTriangle const& face = *corners[0]->GetNeighbourTriangle(i);
            if (face.IndexOfPoint(corners[1]) != -1 && face.IndexOfPoint(corners[2]) != -1)
                return true;
        }
        return false;
    };
    return static_cast<std::uint64_t>(std::ranges::count_if(stl.Triangles(), is_on_mesh));
}

// Marks the places of a surface below which elements are bad.
class GrowCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command =
            *app.add_subcommand("grow", "Mark the triangles of a surface at which tetrahedra are bad");
        command.footer(
            "Elements with a value that is not finite count as bad too. Rings of face neighbours are\n"
            "added to the bad elements; triangles of the surface that are boundary faces of these\n"
            "elements get 1 in the cell array bad, all others 0.\n\n"
            "Examples:\n"
            "  ketmesh grow head.vtu --below 0.1 -o head_bad.vtp\n"
            "  ketmesh grow head.vtu --metric AspectRatioTetgen --above 20 --rings 2 --surface skin.stl "
            "-o bad.vtp");
        m_input.Declare(command);
        command.add_option("--metric", m_metric, "Metric that tells (ScaledJacobian unless given)")
            ->type_name("NAME");
        m_threshold.Declare(command);
        command.add_option("--rings", m_rings, "How many rings of neighbours to add (0 unless given)")
            ->type_name("K")
            ->check(CLI::Range(0, std::numeric_limits<int>::max()));
        command
            .add_option("--surface", m_surface,
                        "Surface to mark, in the coordinates of the mesh: .vtp, .stl, .ply or .obj. Without "
                        "it: the exterior surface of the mesh")
            ->type_name("FILE");
        command.add_option("-o,--output", m_output, "Surface file to write: .vtp")->required();
        m_threads.Declare(command);
        command.add_flag("--json", m_json, "Print one JSON object");
        command.callback([this] {
            if (!m_threshold.IsGiven())
                throw CLI::RequiredError("--below or --above");
        });
    }

    int Run(Progress const& progress) override {
        QualityMetric const& metric = FindMetric(m_metric);
        std::unique_ptr<KetSDK::MeshVTK::OutputFile> const file = _OpenOutput();
        MeshInput::Loaded loaded = m_input.LoadTetrahedra(progress);
        loaded.grid = nullptr;
        RequireMetric(*loaded.mesh, metric, m_input.GetFileName());
        std::unique_ptr<MStlBase> const stl = _GetSurface(*loaded.mesh, progress);
        MDataMaskBits<MMeshElement> bad;
        loaded.mesh->GetElementMasks()->RegisterMask(&bad);
        std::uint64_t const count = _FindBad(*loaded.mesh, metric, bad, progress);

        MMeshGrowBadTetsOperator grow;
        grow.SetMesh(loaded.mesh.get());
        grow.SetStlMesh(stl.get());
        grow.SetBadMask(&bad);
        grow.SetGrowLevel(m_rings);
        if (!grow.Operate())
            throw FileError(m_input.GetFileName(), "its bad elements could not be marked on the surface");
        ThrowIfCancelled();
        Json report = _Report(*loaded.mesh, count, *stl, *grow.GetResultMask());
        _Write(*stl, *grow.GetResultMask(), *file, progress);
        if (report["on_mesh"] == 0)
            m_warnings.Add(m_surface + ": no triangle of this surface is a boundary face of " +
                           m_input.GetFileName() +
                           ", so nothing could be marked; is it a surface of that mesh, in the same unit?");
        report["warnings"] = m_warnings.GetList();
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        return Done;
    }

private:
    std::unique_ptr<KetSDK::MeshVTK::OutputFile> _OpenOutput() const {
        return ForFile(m_output, [this] {
            if (std::filesystem::path(m_output).extension() != ".vtp")
                throw KetSDK::MeshVTK::Error(
                    "marked surfaces are written to .vtp files only; files of other kinds hold no marks");
            return std::make_unique<KetSDK::MeshVTK::OutputFile>(m_output);
        });
    }

    std::unique_ptr<MStlBase> _GetSurface(MMeshBase& mesh, Progress const& progress) const {
        if (!m_surface.empty())
            return ForFile(m_surface, [&] {
                KetSDK::MeshVTK::SurfaceFromPolyDataOptions options;
                options.unit = m_input.GetUnit();
                return KetSDK::MeshVTK::ReadSurfaceFile(m_surface, options, progress, nullptr);
            });
        return ExteriorOf(mesh);
    }

    // Sets the bits of the bad elements and counts them.
    std::uint64_t _FindBad(MMeshBase& mesh, QualityMetric const& metric, MDataMaskBits<MMeshElement>& bad,
                           Progress const& progress) {
        MMeshQualityAnalysisOperator analysis;
        Measure(analysis, mesh, metric, m_threads.Start(), progress);
        std::uint64_t count = 0;
        for (MMeshElement const& e : mesh.Elements()) {
            double const value = analysis.GetQualityMask()->GetValue(e);
            bool const is_bad = m_threshold.Get().IsBad(value) || !std::isfinite(value);
            bad.SetValue(e, is_bad);
            count += is_bad;
        }
        return count;
    }

    Json _Report(MMeshBase& mesh, std::uint64_t bad, MStlBase const& stl, Marks const& marks) const {
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["bad"] = bad;
        report["rings"] = m_rings;
        m_threshold.AddTo(report);
        std::uint64_t marked = 0;
        double area = 0.0;
        report["surfaces"] = Json::array();
        for (MStlSurface const& surface : stl.Surfaces()) {
            std::uint64_t marked_here = 0;
            double area_here = 0.0;
            for (MStlTriangle const& triangle : surface.Triangles())
                if (marks.GetValue(triangle)) {
                    ++marked_here;
                    area_here += triangle.GetPositions().Area();
                }
            report["surfaces"].push_back({{"name", KetSDK::MeshVTK::ToUtf8(surface.GetName())},
                                          {"triangles", surface.NumberOfTriangles()},
                                          {"marked", marked_here},
                                          {"area", area_here}});
            marked += marked_here;
            area += area_here;
        }
        report["triangles"] = stl.NumberOfTriangles();
        report["on_mesh"] = m_surface.empty() ? stl.NumberOfTriangles() : CountOnMesh(stl, mesh);
        report["marked"] = marked;
        report["area"] = area;
        report["files"] = {m_output};
        return report;
    }

    void _Write(MStlBase const& stl, Marks const& marks, KetSDK::MeshVTK::OutputFile& file,
                Progress const& progress) const {
        auto const data = KetSDK::MeshVTK::PolyDataFromSurfaces(stl, m_input.GetUnit());
        vtkNew<vtkUnsignedCharArray> bad;
        bad->SetName("bad");
        for (MStlSurface const& surface : stl.Surfaces())
            for (MStlTriangle const& triangle : surface.Triangles())
                bad->InsertNextValue(marks.GetValue(triangle));
        data->GetCellData()->AddArray(bad);
        ForFile(m_output, [&] { KetSDK::MeshVTK::WriteSurfaceFile(*data, file, progress); });
    }

    void _Print(Json const& report) const {
        std::cout << m_input.GetFileName() << ": " << report["bad"] << " of " << report["elements"]
                  << " elements are bad: " << m_metric << ' ' << m_threshold.Describe() << "\n\n";
        Table table({{"surface", Table::Align::Left},
                     {"triangles", Table::Align::Right},
                     {"marked", Table::Align::Right},
                     {"area marked [mm2]", Table::Align::Right}});
        for (Json const& surface : report["surfaces"])
            table.AddRow({surface["name"], surface["triangles"].dump(), surface["marked"].dump(),
                          FormatNumber(surface["area"], report["area"])});
        table.AddRule();
        table.AddRow(
            {"all", report["triangles"].dump(), report["marked"].dump(), FormatNumber(report["area"])});
        table.Print(std::cout);
        if (!m_surface.empty())
            std::cout << "\n" << report["on_mesh"] << " of the triangles are boundary faces of the mesh\n";
        std::cout << "\nwritten: " << m_output << '\n';
    }

    MeshInput m_input;
    BadThreshold m_threshold;
    Threads m_threads;
    std::string m_metric = "ScaledJacobian";
    std::string m_surface;
    std::string m_output;
    int m_rings = 0;
    Warnings m_warnings;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeGrowCommand() {
    return std::make_unique<GrowCommand>();
}

} // namespace ketmesh
