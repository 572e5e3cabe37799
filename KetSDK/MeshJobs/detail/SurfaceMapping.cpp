// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/SurfaceMapping.h>

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/FramesOfInputs.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/Threads.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace KetSDK::MeshJobs::Detail {

namespace {

// The root of the mean area in mm2.
double TriangleSize(MStlBase const& stl) {
    double area = 0.0;
    for (MStlSurface const& surface : stl.Surfaces())
        area += surface.GetArea();
    return std::sqrt(area / static_cast<double>(std::max<std::uint64_t>(stl.NumberOfTriangles(), 1)));
}

// The diagonal of the mesh's box in mm: what lies farther away is no neighbour of any face, and a search
// without bounds would not end.
double SizeOf(MMeshBase const& mesh) {
    std::array<double, 6> const box = BoxOf(mesh);
    return std::hypot(box[3] - box[0], box[4] - box[1], box[5] - box[2]);
}

// Of faces and triangles that lie near them, about: a minute or so where the surface is not that of the mesh.
constexpr double MostPairs = 5e7;

// A surface of triangles of this size has so many of them within a radius, about.
double TrianglesWithin(double radius, double size, MStlBase const& stl) {
    double const disc = std::numbers::pi * radius * radius / (size * size);
    return std::min(1.0 + disc, static_cast<double>(stl.NumberOfTriangles()));
}

} // namespace

SurfaceMapping::SurfaceMapping(Model const& model, SurfaceModel const& surface, double tolerance,
                               Context const& context)
    : m_model(model)
    , m_turned(InFrameOf(model, surface, context))
    , m_surface(m_turned ? *m_turned : surface)
    , m_tolerance(std::min(tolerance, SizeOf(*model.mesh)))
    , m_before(model.mesh->GetCorrespondenceMapper()) {
    MStlBase& stl = *m_surface.surfaces;
    double const size = TriangleSize(stl);
    double const triangles = TrianglesWithin(m_tolerance, size, stl);
    bool const is_wide =
        m_tolerance > 2.0 * size; // otherwise each face costs the same, however little it reaches
    if (is_wide && 2.0 * triangles * static_cast<double>(model.mesh->NumberOfElements()) > MostPairs)
        throw Error("the tolerance of " + FormatGeneral(tolerance) + " mm reaches about " +
                    FormatGeneral(triangles, 3) + " triangles of " + NameOf(surface) +
                    " from every face of " + NameOf(model) +
                    ", which would take too long; a smaller one is needed");
    if (tolerance > size)
        context.Warn("the tolerance of " + FormatGeneral(tolerance) + " mm is larger than the triangles of " +
                     NameOf(surface) + ", which measure " + FormatGeneral(size, 3) +
                     " mm: faces may be matched with triangles far from them, and it takes long");
    auto const mapper =
        std::make_shared<MMeshCorrespondenceMapperProjection>(&stl, model.mesh.get(), m_tolerance);
    mapper->SetProgressDelegate(context.progress);
    WithThreads(context, [&mapper](bool parallel) {
        mapper->SetParallel(parallel);
        mapper->Map();
    });
    context.ThrowIfCancelled();
    model.mesh->SetCorrespondenceMapper(mapper);
}

SurfaceMapping::~SurfaceMapping() {
    m_model.mesh->SetCorrespondenceMapper(m_before);
}

bool SurfaceMapping::IsOnMesh(MStlTriangle const& triangle) const {
    return m_model.mesh->GetCorrespondenceMapper()->GetElement(&triangle) != nullptr;
}

void SurfaceMapping::WarnWhenApart(Context const& context) const {
    if (std::ranges::none_of(m_surface.surfaces->Triangles(),
                             [this](MStlTriangle const& triangle) { return IsOnMesh(triangle); }))
        context.Warn(NameOf(m_surface) + ": no triangle of this surface lies within " +
                     FormatGeneral(m_tolerance) + " mm of a face of " + NameOf(m_model) +
                     "; is it a surface of that mesh, in the same unit, or was it remeshed (--tolerance)?");
}

void SurfaceMapping::WarnWhenMostLiesApart(Context const& context) const {
    std::uint64_t const triangles = m_surface.surfaces->NumberOfTriangles();
    auto const on_mesh = static_cast<std::uint64_t>(
        std::ranges::count_if(m_surface.surfaces->Triangles(),
                              [this](MStlTriangle const& triangle) { return IsOnMesh(triangle); }));
    if (on_mesh > 0 && on_mesh < triangles - on_mesh)
        context.Warn(NameOf(m_surface) + ": only " + std::to_string(on_mesh) + " of its " +
                     std::to_string(triangles) + " triangles lie within " + FormatGeneral(m_tolerance) +
                     " mm of a face of " + NameOf(m_model) +
                     ", so that it separates little of the mesh; ketmesh match counts them");
}

} // namespace KetSDK::MeshJobs::Detail
