// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Grow.h>

#include <KetSDK/Mesh/geometry/MMeshGrowBadTetsOperator.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Metrics.h>
#include <KetSDK/MeshJobs/detail/CommonFaces.h>
#include <KetSDK/MeshJobs/detail/FramesOfInputs.h>
#include <KetSDK/MeshJobs/detail/Measure.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace KetSDK::MeshJobs {

namespace {

using Marks = MMeshGrowBadTetsOperator::ResultMask;

Mesh::QualityMetric const& FindMetric(std::string const& name) {
    std::vector<Mesh::QualityMetric const*> const metrics = FindMetrics(name);
    if (metrics.size() != 1)
        throw Error("--metric takes one metric here");
    return *metrics.front();
}

std::unique_ptr<MStlBase> ExteriorOf(Model const& model, Context const& context) {
    auto stl = std::make_unique<MStlBase>();
    MMeshExtractStlSurfaceOperator extract;
    extract.SetStl(stl.get());
    Detail::RunOperator(extract, model, "its surfaces could not be extracted", context);
    return stl;
}

// How many triangles of a surface are boundary faces of the mesh, which this is the exterior surface of.
std::uint64_t CountOnMesh(MStlBase const& stl, MStlBase const& exterior) {
    auto const is_on_mesh = [&exterior](MStlTriangle const& triangle) {
        MStlPoint const* corners[3];
        for (std::size_t i = 0; i < 3; ++i) {
            MStlPoint const& p = *triangle.GetPoint(i);
            corners[i] = exterior.FindPoint(p.GetX(), p.GetY(), p.GetZ());
            if (!corners[i])
                return false;
        }
        for (std::uint32_t i = 0; i < corners[0]->GetNumberOfNeighbourTriangles(); ++i) {
            MStlTriangle const& face = *corners[0]->GetNeighbourTriangle(i);
            if (face.IndexOfPoint(corners[1]) != -1 && face.IndexOfPoint(corners[2]) != -1)
                return true;
        }
        return false;
    };
    return static_cast<std::uint64_t>(std::ranges::count_if(stl.Triangles(), is_on_mesh));
}

// Sets the bits of the bad elements and counts them.
std::uint64_t FindBad(Model const& model, Mesh::QualityMetric const& metric,
                      Mesh::QualityThreshold const& threshold, MDataMaskBits<MMeshElement>& bad,
                      Context const& context) {
    MMeshQualityAnalysisOperator analysis;
    Detail::Measure(analysis, model, metric, context);
    std::vector<double> const folds =
        Detail::SeesFolds(&metric) ? Detail::MeasureFolds(model, context) : std::vector<double>();
    std::uint64_t count = 0;
    std::size_t index = 0;
    for (MMeshElement const& e : model.mesh->Elements()) {
        double const value = analysis.GetQualityMask()->GetValue(e);
        bool const is_bad = threshold.IsBad(value) || !std::isfinite(value) || metric.IsFault(value) ||
                            (!folds.empty() && folds[index] != 0.0);
        ++index;
        bad.SetValue(e, is_bad);
        count += is_bad;
    }
    return count;
}

void Report(MStlBase const& stl, Marks const& marks, GrowResult& result) {
    for (MStlSurface const& surface : stl.Surfaces()) {
        MarkedSurfaceReport report{MeshVTK::ToUtf8(surface.GetName()), surface.NumberOfTriangles(), 0, 0.0};
        for (MStlTriangle const& triangle : surface.Triangles())
            if (marks.GetValue(triangle)) {
                ++report.marked;
                report.area += triangle.GetPositions().Area();
            }
        result.triangles += report.triangles;
        result.marked += report.marked;
        result.area += report.area;
        result.surfaces.push_back(std::move(report));
    }
}

MMeshArray MakeArray(MStlBase const& stl, Marks const& marks) {
    std::vector<std::int32_t> bad;
    bad.reserve(static_cast<std::size_t>(stl.NumberOfTriangles()));
    for (MStlSurface const& surface : stl.Surfaces())
        for (MStlTriangle const& triangle : surface.Triangles())
            bad.push_back(marks.GetValue(triangle));
    return {L"bad", MMeshArray::OnElements, 1, L"uint8", std::move(bad)};
}

} // namespace

GrowResult Grow(Model const& model, std::optional<SurfaceModel> surface, GrowOptions const& options,
                Context const& context) {
    Mesh::QualityMetric const& metric = FindMetric(options.metric);
    RequireTetrahedra(model);
    Detail::RequireFewAtEachFace(model);
    RequireMetric(model, metric, Mesh::QualityMetric::Tetrahedra);
    bool const is_own = !surface;
    GrowResult result;
    result.taken_by_corners = CountTenNodeTetrahedra(*model.mesh);
    if (is_own) {
        result.surface.surfaces = ExteriorOf(model, context);
        result.surface.frame = model.frame;
    } else {
        result.surface = std::move(*surface);
        Detail::TurnToFrameOf(model, result.surface, context);
    }
    MStlBase& stl = *result.surface.surfaces;
    MDataMaskBits<MMeshElement> bad;
    model.mesh->GetElementMasks()->RegisterMask(&bad);
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.bad = FindBad(model, metric, options.threshold, bad, context);

    MMeshGrowBadTetsOperator grow;
    grow.SetStlMesh(&stl);
    grow.SetBadMask(&bad);
    grow.SetGrowLevel(options.rings);
    Detail::RunOperator(grow, model, "its bad elements could not be marked on the surface", context);
    Report(stl, *grow.GetResultMask(), result);
    SetArray(result.surface.arrays, MakeArray(stl, *grow.GetResultMask()));
    result.on_mesh = is_own ? result.triangles : CountOnMesh(stl, *ExteriorOf(model, context));
    if (result.on_mesh == 0)
        context.Warn(Detail::NameOf(result.surface) + ": no triangle of this surface is a boundary face of " +
                     Detail::NameOf(model) +
                     ", so nothing could be marked; is it a surface of that mesh, in the same unit?");
    return result;
}

void RequireValid(GrowOptions const& options) {
    FindMetric(options.metric);
}

} // namespace KetSDK::MeshJobs
