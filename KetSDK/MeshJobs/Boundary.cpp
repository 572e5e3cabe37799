// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Boundary.h>

#include <KetSDK/Mesh/mesh/MMeshElementIterators.h>
#include <KetSDK/Mesh/mesh/MSurfaceOrigins.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSTL.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSTL.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSurface.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSurface.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/OriginArrays.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/ToTetrahedra.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace KetSDK::MeshJobs {

namespace {

constexpr char const* Failure = "its boundary could not be found";

void Mark(Model const& model, BoundaryOptions const& options, Context const& context) {
    MMeshOperatorSettingsSurface settings;
    settings.SetInterfacesAreBoundary(options.interfaces);
    MMeshOperatorSurface mark;
    mark.SetSettings(&settings);
    Detail::RunOperator(mark, model, Failure, context);
}

void Count(Detail::ToTetrahedra const& tetrahedra, BoundaryResult& result) {
    MMeshBase const& mesh = *tetrahedra.Get().mesh;
    auto const& marks = *mesh.GetElementMasks()->GetSurfaceMask();
    std::vector<bool> marked(static_cast<std::size_t>(result.elements), false);
    MLong index = 0;
    for (MMeshElement const& e : mesh.Elements()) {
        auto const element = static_cast<std::size_t>(tetrahedra.ElementOf(index++));
        marked[element] = marked[element] || !marks.GetValue(e).IsEmpty();
    }
    result.boundary_elements = static_cast<std::uint64_t>(std::ranges::count(marked, true));
    for (auto node = mesh.BeginPoint(); node != mesh.EndPoint(); ++node) {
        MMeshTriangleIterator** triangles = nullptr;
        unsigned long long count = 0;
        mesh.GetPointMasks()->GetNeighbourMaskPointInfo(*node, triangles, count);
        result.boundary_nodes += count > 0;
    }
}

void MakeSurface(Detail::ToTetrahedra const& tetrahedra, BoundaryOptions const& options,
                 SurfaceModel& surface, Context const& context) {
    Model const& model = tetrahedra.Get();
    surface.surfaces = std::make_unique<MStlBase>();
    surface.frame = model.frame;
    MSurfaceOrigins origins;
    MMeshOperatorSettingsSTL settings;
    settings.SetSimplify(options.simplify);
    settings.SetMarkedOnly(!options.all_faces);
    MMeshOperatorSTL write;
    write.SetSettings(&settings);
    write.SetStl(surface.surfaces.get());
    write.SetOrigins(&origins);
    Detail::RunOperator(write, model, Failure, context);
    surface.surfaces->GetSurface(0)->SetName(options.all_faces ? L"All faces" : L"Boundary");
    tetrahedra.ToModel(origins);
    Detail::AddOriginArrays(surface, origins);
    context.ThrowIfCancelled();
}

// White where a triangle has no colour.
MMeshArray ColorsOf(MStlBase const& stl) {
    std::vector<std::int32_t> channels;
    channels.reserve(3 * static_cast<std::size_t>(stl.NumberOfTriangles()));
    for (MStlSurface const& surface : stl.Surfaces())
        for (MStlTriangle const& triangle : surface.Triangles()) {
            MStlColor const& color = triangle.GetColor();
            for (unsigned int const channel : {color.GetRed(), color.GetGreen(), color.GetBlue()})
                channels.push_back(static_cast<std::int32_t>(channel));
        }
    return {L"color", MMeshArray::OnElements, 3, L"uint8", std::move(channels)};
}

} // namespace

BoundaryResult Boundary(Model const& model, BoundaryOptions const& options, Context const& context) {
    if (options.colors && model.mesh->GetMaterialCatalog().NumberOfMaterials() == 0)
        throw FileError(model.file, "it has no materials whose colours --colors could write; "
                                    "ketmesh materials assigns some");
    Detail::ToTetrahedra const tetrahedra(model, nullptr, 0.0, context);
    Mark(tetrahedra.Get(), options, context);
    BoundaryResult result;
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.nodes = static_cast<std::uint64_t>(model.mesh->NumberOfPoints());
    result.solids = tetrahedra.GetReport();
    Count(tetrahedra, result);
    context.ThrowIfCancelled();
    MakeSurface(tetrahedra, options, result.surface, context);
    MStlBase const& stl = *result.surface.surfaces;
    if (options.colors)
        SetArray(result.surface.arrays, ColorsOf(stl));
    result.triangles = stl.NumberOfTriangles();
    result.area = stl.GetSurface(0)->GetArea();
    result.closed = stl.GetSurface(0)->IsClosed();
    context.ThrowIfCancelled();
    return result;
}

} // namespace KetSDK::MeshJobs
