#include <host/SurfaceMatch.h>

#include <KetSDK/Triangles/Data/MStlBase.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace ketmesh {

namespace {

// The root of the mean area in mm2; 0 without triangles.
double TriangleSize(MStlBase const& stl) {
    double area = 0.0;
    for (MStlSurface const& surface : stl.Surfaces())
        area += surface.GetArea();
    return std::sqrt(area / static_cast<double>(std::max<std::uint64_t>(stl.NumberOfTriangles(), 1)));
}

} // namespace

CLI::Option* SurfaceMatch::Declare(CLI::App& command) {
    CLI::Option* const file = m_surface.Declare(command);
    command
        .add_option("--tolerance", m_tolerance,
                    "How far in mm a triangle may lie from its face (0.001 unless given); for a surface "
                    "that was remeshed, how far that has moved it")
        ->type_name("MM")
        ->check(PositiveNumber());
    m_threads.Declare(command);
    return file;
}

std::unique_ptr<MStlBase> SurfaceMatch::Load(MeshInput const& mesh, Progress const& progress) const {
    return m_surface.Load(mesh, progress);
}

void SurfaceMatch::Map(MStlBase& stl, MMeshBase& mesh, Warnings& warnings, Progress const& progress) {
    double const size = TriangleSize(stl);
    if (IsGiven() && m_tolerance > size)
        warnings.Add("the tolerance of " + FormatGeneral(m_tolerance) +
                     " mm is larger than the triangles of " + GetFileName() + ", which measure " +
                     FormatGeneral(size, 3) +
                     " mm: faces may be matched with triangles far from them, and it takes long");
    auto const mapper = std::make_shared<MMeshCorrespondenceMapperProjection>(&stl, &mesh, m_tolerance);
    mapper->SetParallel(m_threads.Start());
    mapper->SetProgressDelegate(progress);
    mapper->Map();
    mesh.SetCorrespondenceMapper(mapper);
    ThrowIfCancelled();
}

void SurfaceMatch::WarnWhenApart(MStlBase const& stl, MMeshBase const& mesh, MeshInput const& input,
                                 Warnings& warnings) const {
    auto const on_mesh = [&mesh](MStlTriangle const& triangle) {
        return mesh.GetCorrespondenceMapper()->GetElement(&triangle) != nullptr;
    };
    if (IsGiven() && std::ranges::none_of(stl.Triangles(), on_mesh))
        warnings.Add(GetFileName() + ": no triangle of this surface lies within " +
                     FormatGeneral(m_tolerance) + " mm of a face of " + input.GetFileName() +
                     "; is it a surface of that mesh, in the same unit, or was it remeshed (--tolerance)?");
}

} // namespace ketmesh
