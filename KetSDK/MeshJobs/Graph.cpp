// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Graph.h>

#include <KetSDK/Mesh/operators/MMeshConvertTetToGraphOperator.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshVTK/Frames.h>
#include <KetSDK/MeshVTK/PolyDataFromGraphs.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/MeshVTK/Text.h>

#include <vtkPolyData.h>

namespace KetSDK::MeshJobs {

GraphResult Graph(Model const& model, GraphOptions const& options, Context const& context) {
    RequireTetrahedra(model);
    GraphResult result;
    result.lines = std::make_unique<MStlFeature>();
    result.frame = model.frame;
    MMeshConvertTetToGraphOperator convert(*model.mesh, *result.lines);
    convert.SetOnlyInteriorEdges(!options.all_edges);
    bool const done = Detail::Operate(convert, context);
    context.ThrowIfCancelled();
    if (!done)
        throw FileError(model.file, "its edges could not be turned into graphs");
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.taken_by_corners = CountTenNodeTetrahedra(*model.mesh);
    for (MStlGraph const& graph : result.lines->Graphs()) {
        result.graphs.push_back(
            {MeshVTK::ToUtf8(graph.GetName()), graph.NumberOfVertices(), graph.NumberOfEdges()});
        result.vertices += graph.NumberOfVertices();
        result.edges += graph.NumberOfEdges();
    }
    return result;
}

MeshVTK::OutputFile OpenGraphFile(std::string const& path) {
    return Detail::ForFile(path, [&path] {
        MeshVTK::CheckGraphFileName(path);
        return MeshVTK::OutputFile(path);
    });
}

void WriteGraphs(MStlFeature const& graphs, MeshVTK::OutputFile& file, MeshVTK::LengthUnit unit,
                 Context const& context, std::optional<Mesh::CoordinateFrame> frame) {
    Detail::WritingFile(file.GetPath().string(), context, [&] {
        auto const lines = MeshVTK::PolyDataFromGraphs(graphs, unit);
        MeshVTK::SetFrame(*lines, frame);
        MeshVTK::WriteGraphFile(*lines, file, context.progress);
    });
}

} // namespace KetSDK::MeshJobs
