// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Iso.h>

#include <KetSDK/Mesh/operators/MMeshIsosurfaceOperator.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/ToTetrahedra.h>
#include <KetSDK/MeshVTK/NodeValues.h>
#include <KetSDK/MeshVTK/Text.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <unordered_map>

namespace KetSDK::MeshJobs {

namespace {

// Below this, the operator does not run.
constexpr MLong LeastElements = 1000;

void CheckSize(Model const& model) {
    MLong const elements = model.mesh->NumberOfElements();
    if (elements < LeastElements)
        throw FileError(model.file, "isosurfaces are extracted from " + std::to_string(LeastElements) +
                                        " tetrahedra or more, because progress is counted in thousandths of "
                                        "them; this mesh has " +
                                        std::to_string(elements) + ", so refine it first");
}

// The triangles that still have three points after rounding, with the points that they use, as one surface
// of that name. A surface that was closed stays so: what goes are triangles that became an edge.
void CopyTriangles(MStlBase const& from, MStlBase& to, std::wstring const& name) {
    MStlSurface& surface = *to.AddSurface(nullptr);
    surface.SetName(name.c_str());
    std::unordered_map<MStlPoint const*, MStlPoint*> copies;
    auto const copy_of = [&](MStlPoint const* p) {
        auto const [entry, is_new] = copies.try_emplace(p, nullptr);
        if (is_new)
            entry->second = to.AddPoint(p->GetX(), p->GetY(), p->GetZ(), true);
        return entry->second;
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

// Gives the result its surface.
void Extract(Model const& model, IsoOptions const& options, MDataMask<MMeshPoint, double>& values,
             IsoResult& result, Context const& context) {
    MStlBase all;
    all.SetKeepNeighbourInfo(false);
    result.surface.surfaces = std::make_unique<MStlBase>();
    result.surface.frame = model.frame;
    MStlBase& stl = *result.surface.surfaces;
    stl.SetKeepNeighbourInfo(false);
    MMeshIsosurfaceOperator iso;
    iso.SetNodesMask(&values);
    iso.SetIsoValue(options.level);
    iso.SetIsoSurface(&all);
    Detail::RunOperator(iso, model, "its isosurface could not be extracted", context);
    CopyTriangles(all, stl, MeshVTK::FromUtf8(options.field + " = " + FormatGeneral(options.level, 17)));
    result.collapsed = all.NumberOfTriangles() - stl.NumberOfTriangles();
}

void Measure(IsoResult& result) {
    MStlSurface const& surface = *result.surface.surfaces->GetSurface(0);
    result.triangles = surface.NumberOfTriangles();
    result.points = result.surface.surfaces->NumberOfPoints();
    result.area = surface.GetArea();
    result.closed = surface.IsClosed();
    if (result.closed)
        result.enclosed_volume = EnclosedVolume(surface);
}

void Warn(Model const& model, IsoOptions const& options, IsoResult const& result, Context const& context) {
    auto const warn = [&](std::string const& message) {
        context.Warn(Detail::NameOf(model) + ": " + message);
    };
    if (std::uint64_t const curved = CountTenNodeTetrahedra(*model.mesh))
        warn(std::to_string(curved) + " ten-node elements are read through their corners, as straight ones");
    if (result.nodes_without_value > 0)
        warn(std::to_string(result.nodes_without_value) + " nodes have no value of \"" + options.field +
             "\"; elements at these nodes have no triangles");
    if (result.triangles == 0)
        warn("the isosurface is empty: at the nodes \"" + options.field + "\" " +
             (std::isnan(result.min)
                  ? "has no value"
                  : "goes from " + FormatGeneral(result.min) + " to " + FormatGeneral(result.max)));
}

} // namespace

IsoResult Iso(Model const& model, IsoOptions const& options, Context const& context) {
    Detail::ToTetrahedra const tetrahedra(model, nullptr, 0.0, context);
    CheckSize(tetrahedra.Get());
    MDataMask<MMeshPoint, double> values(std::numeric_limits<double>::quiet_NaN());
    model.mesh->GetPointMasks()->RegisterMask(&values);
    MeshVTK::NodeValuesReport const field = Detail::ForFile(model.file, [&] {
        return MeshVTK::NodeValuesOf(*model.mesh, model.arrays, options.field, options.component, values);
    });
    IsoResult result;
    result.from_elements = field.from_cells;
    result.min = field.min;
    result.max = field.max;
    result.nodes_without_value = field.without_value;
    result.solids = tetrahedra.GetReport();
    MDataMask<MMeshPoint, double> carried(std::numeric_limits<double>::quiet_NaN());
    if (tetrahedra.IsCut()) {
        tetrahedra.Get().mesh->GetPointMasks()->RegisterMask(&carried);
        tetrahedra.CarryValues(values, carried);
    }
    Extract(tetrahedra.Get(), options, tetrahedra.IsCut() ? carried : values, result, context);
    Measure(result);
    context.ThrowIfCancelled();
    Warn(model, options, result, context);
    return result;
}

} // namespace KetSDK::MeshJobs
