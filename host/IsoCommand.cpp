#include <KetSDK/Mesh/operators/MMeshIsosurfaceOperator.h>
#include <KetSDK/MeshVTK/NodeValues.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/MeshInput.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>
#include <host/terminal/Warnings.h>

#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <limits>
#include <optional>
#include <string>
#include <unordered_map>

namespace ketmesh {

namespace {

using KetSDK::MeshVTK::NodeValuesReport;

// Below this, the operator does not run.
constexpr MLong LeastElements = 1000;

// The triangles that still have three points after rounding, with the points that they use, as one surface
// of that name. A surface that was closed stays so: what goes are triangles that became an edge.
void CopyTriangles(MStlBase const& from, MStlBase& to, std::wstring const& name) {
    MStlSurface& surface = *to.AddSurface(nullptr);
    surface.SetName(name.c_str());
    std::unordered_map<MStlPoint const*, MStlPoint*> copies;
    auto const copy_of = [&](MStlPoint const* p) {
        auto const [place, is_new] = copies.try_emplace(p, nullptr);
        if (is_new)
            place->second = to.AddPoint(p->GetX(), p->GetY(), p->GetZ(), true);
        return place->second;
    };
    for (MStlTriangle const& triangle : from.Triangles()) {
        MStlPoint const* const corners[] = {triangle.GetPoint(0), triangle.GetPoint(1), triangle.GetPoint(2)};
        if (corners[0] != corners[1] && corners[1] != corners[2] && corners[2] != corners[0])
            surface.AddTriangle(copy_of(corners[0]), copy_of(corners[1]), copy_of(corners[2]));
    }
}

// The volume that a closed surface encloses, whichever way it winds, by the divergence theorem.
double EnclosedVolume(MStlSurface const& surface) {
    if (surface.NumberOfTriangles() == 0)
        return 0.0;
    // Near the surface, where the terms are small.
    MMVector<double, 3> const origin = surface.Triangles().begin()->GetPoint(0)->GetPosition();
    double volume = 0.0;
    for (MStlTriangle const& triangle : surface.Triangles()) {
        auto const corner = [&](std::size_t i) { return triangle.GetPoint(i)->GetPosition() - origin; };
        volume += corner(0).Dot(corner(1).Cross(corner(2)));
    }
    return std::fabs(volume) / 6.0;
}

// Extracts the surface on which a field of a mesh has one value.
class IsoCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command =
            *app.add_subcommand("iso", "Extract an isosurface of a field of a tetrahedral mesh");
        command.footer(
            "The field is an array of points or, where there is none of that name, an array of\n"
            "cells, whose values are averaged: a node gets the plain mean over the elements that\n"
            "have it. Between nodes the field is linear in each tetrahedron; ten-node elements are\n"
            "read through their four corners. Normals point to higher values. An element with a\n"
            "corner without a value (NaN, infinite or beyond 1e300) gives no triangles. The surface\n"
            "is open where it leaves the mesh. A volume is given for closed surfaces only.\n\n"
            "Examples:\n"
            "  ketmesh iso head.vtu --field grey --level 700 -o bone.stl\n"
            "  ketmesh iso result.vtu --field displacement --component 2 --level -0.5 --json");
        m_input.Declare(command);
        command.add_option("--field", m_field, "Array of numbers on points or cells")
            ->required()
            ->type_name("NAME");
        command.add_option("--component", m_component, "Which component of the array, from 0")
            ->type_name("K")
            ->check(CLI::Range(0, std::numeric_limits<int>::max()));
        command.add_option("--level", m_level, "Value of the field on the surface")
            ->required()
            ->type_name("L")
            ->check(FiniteNumber());
        command.add_option("-o,--output", m_output, "Surface file to write: .vtp, .stl, .ply or .obj")
            ->type_name("FILE");
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        std::optional<KetSDK::MeshVTK::OutputFile> file;
        if (!m_output.empty())
            ForFile(m_output, [this, &file] {
                KetSDK::MeshVTK::CheckSurfaceFileName(m_output);
                file.emplace(m_output);
            });
        MeshInput::Loaded loaded = m_input.LoadTetrahedra(progress);
        _CheckSize(*loaded.mesh);
        MDataMask<MMeshPoint, double> values(std::numeric_limits<double>::quiet_NaN());
        loaded.mesh->GetPointMasks()->RegisterMask(&values);
        NodeValuesReport const field = ForFile(m_input.GetFileName(), [&] {
            return KetSDK::MeshVTK::NodeValuesFromGrid(*loaded.mesh, *loaded.grid, m_field, m_component,
                                                       values);
        });
        loaded.grid = nullptr;
        MStlBase stl;
        std::uint64_t const collapsed = _Extract(*loaded.mesh, values, stl);
        ThrowIfCancelled();
        Json report = _Report(loaded, field, stl, collapsed);
        ThrowIfCancelled();
        if (file)
            ForFile(m_output, [&] {
                KetSDK::MeshVTK::WriteSurfaceFile(stl, m_input.GetUnit(), *file, progress,
                                                  KetSDK::MeshVTK::EmptySurface::Written);
            });
        _Warn(*loaded.mesh, field, report);
        report["warnings"] = m_warnings.GetList();
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        return Done;
    }

private:
    void _CheckSize(MMeshBase const& mesh) const {
        if (mesh.NumberOfElements() < LeastElements)
            throw FileError(m_input.GetFileName(),
                            "isosurfaces are extracted from " + std::to_string(LeastElements) +
                                " elements or more, because progress is counted in thousandths of them; "
                                "this mesh has " +
                                std::to_string(mesh.NumberOfElements()) + ", so refine it first");
    }

    // Returns how many triangles were left out because rounding made them edges or points.
    std::uint64_t _Extract(MMeshBase& mesh, MDataMask<MMeshPoint, double>& values, MStlBase& stl) const {
        MStlBase all;
        all.SetKeepNeighbourInfo(false);
        stl.SetKeepNeighbourInfo(false);
        MMeshIsosurfaceOperator iso;
        iso.SetMesh(&mesh);
        iso.SetNodesMask(&values);
        iso.SetIsoValue(m_level);
        iso.SetIsoSurface(&all);
        if (!iso.Operate())
            throw FileError(m_input.GetFileName(), "its isosurface could not be extracted");
        ThrowIfCancelled();
        CopyTriangles(all, stl, KetSDK::MeshVTK::FromUtf8(m_field + " = " + FormatGeneral(m_level, 17)));
        return all.NumberOfTriangles() - stl.NumberOfTriangles();
    }

    Json _Report(MeshInput::Loaded const& loaded, NodeValuesReport const& field, MStlBase const& stl,
                 std::uint64_t collapsed) const {
        MStlSurface const& surface = *stl.GetSurface(0);
        bool const closed = surface.IsClosed();
        Json report;
        report["field"] = m_field;
        report["from"] = field.from_cells ? "cells" : "points";
        report["range"] = {field.min, field.max};
        report["nodes_without_value"] = field.without_value;
        report["level"] = m_level;
        report["triangles"] = surface.NumberOfTriangles();
        report["points"] = stl.NumberOfPoints();
        report["collapsed"] = collapsed;
        report["area"] = surface.GetArea();
        report["closed"] = closed;
        report["enclosed_volume"] = closed ? Json(EnclosedVolume(surface)) : Json();
        report["rounding_error"] = loaded.rounding.largest_error;
        report["files"] = Json::array();
        if (!m_output.empty())
            report["files"].push_back(m_output);
        return report;
    }

    void _Warn(MMeshBase const& mesh, NodeValuesReport const& field, Json const& report) {
        auto const warn = [this](std::string const& message) {
            m_warnings.Add(m_input.GetFileName() + ": " + message);
        };
        auto const is_curved = [](MMeshElement const& e) { return e.GetNodeCount() == 10; };
        if (auto const curved = std::ranges::count_if(mesh.Elements(), is_curved))
            warn(std::to_string(curved) +
                 " ten-node elements are read through their corners, as straight ones");
        if (field.without_value > 0)
            warn(std::to_string(field.without_value) + " nodes have no value of \"" + m_field +
                 "\"; elements at these nodes have no triangles");
        if (report["triangles"] == 0)
            warn("the isosurface is empty: at the nodes \"" + m_field + "\" " +
                 (std::isnan(field.min)
                      ? "has no value"
                      : "goes from " + FormatGeneral(field.min) + " to " + FormatGeneral(field.max)));
    }

    void _Print(Json const& report) const {
        std::cout << m_input.GetFileName() << ": " << m_field << " at the nodes"
                  << (report["from"] == "cells" ? ", averaged from cells" : "") << ", from "
                  << FormatGeneral(report["range"][0]) << " to " << FormatGeneral(report["range"][1])
                  << "\n\n"
                  << "level      " << FormatGeneral(m_level) << '\n'
                  << "triangles  " << report["triangles"] << '\n'
                  << "area       " << FormatNumber(report["area"]) << " mm2\n"
                  << "closed     " << (report["closed"] ? "yes" : "no") << '\n';
        if (!report["enclosed_volume"].is_null())
            std::cout << "volume     " << FormatNumber(report["enclosed_volume"]) << " mm3\n";
        if (report["collapsed"] > 0)
            std::cout << "left out   " << report["collapsed"]
                      << " triangles that rounding made edges or points\n";
        if (!m_output.empty())
            std::cout << "\nwritten: " << m_output << '\n';
    }

    MeshInput m_input;
    std::string m_field;
    std::string m_output;
    Warnings m_warnings;
    std::optional<int> m_component;
    double m_level = 0.0;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeIsoCommand() {
    return std::make_unique<IsoCommand>();
}

} // namespace ketmesh
