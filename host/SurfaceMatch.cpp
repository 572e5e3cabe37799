#include <host/SurfaceMatch.h>

#include <KetSDK/Triangles/Data/MStlBase.h>
#include <host/Cancellation.h>
#include <host/Format.h>
#include <host/NumberCheck.h>

#include <algorithm>
#include <iostream>

namespace ketmesh {

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

void SurfaceMatch::Map(MStlBase& stl, MMeshBase& mesh, Progress const& progress) {
    auto const mapper = std::make_shared<MMeshCorrespondenceMapperProjection>(&stl, &mesh, m_tolerance);
    mapper->SetParallel(m_threads.Start());
    mapper->SetProgressDelegate(progress);
    mapper->Map();
    mesh.SetCorrespondenceMapper(mapper);
    ThrowIfCancelled();
}

void SurfaceMatch::WarnWhenApart(MStlBase const& stl, MMeshBase const& mesh, MeshInput const& input) const {
    auto const on_mesh = [&mesh](MStlTriangle const& triangle) {
        return mesh.GetCorrespondenceMapper()->GetElement(&triangle) != nullptr;
    };
    if (IsGiven() && std::ranges::none_of(stl.Triangles(), on_mesh))
        std::cerr << "ketmesh: " << GetFileName() << ": WARNING: no triangle of this surface lies within "
                  << FormatGeneral(m_tolerance) << " mm of a face of " << input.GetFileName()
                  << "; is it a surface of that mesh, in the same unit, or was it remeshed (--tolerance)?\n";
}

} // namespace ketmesh
