#include <KetSDK/MeshJobs/Diff.h>

#include <KetSDK/Mesh/persistence/MMeshArrayDifference.h>
#include <KetSDK/Mesh/persistence/MMeshDifference.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/GridModel.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/MeshArrays.h>

#include <vtkUnstructuredGrid.h>

#include <utility>

namespace KetSDK::MeshJobs {

namespace {

using Difference = std::optional<std::string>;

bool IsFromGridFile(Model const& model) {
    return !model.file.empty() && !IsMeshFileName(model.file);
}

Difference FindDifference(Model const& a, Model const& b) {
    Difference const found = FindMeshDifference(*a.mesh, *b.mesh);
    return found ? found : FindArrayDifference(a.arrays, b.arrays);
}

// What would be read of a file of VTK that the model was written to; nothing when no such file could hold it.
std::optional<Model> ThroughGridFile(Model const& model, ReadOptions const& options, Context const& context) {
    try {
        auto const grid = MeshVTK::GridFromMesh(*model.mesh, options.unit, model.arrays);
        return Detail::ModelFromGrid(*grid, options, context);
    } catch (MeshVTK::Cancelled const&) {
        throw Cancelled();
    } catch (MeshVTK::Error const&) {
        return std::nullopt;
    }
}

// Compares by what files of VTK can hold, when one model is from such a file and the other one is not.
void CompareAsGridFiles(Model const& a, Model const& b, ReadOptions const& options, Context const& context,
                        DiffResult& result) {
    bool const first_is_from_grid = IsFromGridFile(a);
    auto const reduced = ThroughGridFile(first_is_from_grid ? b : a, options, context);
    if (!reduced)
        return;
    Difference const left_out =
        std::exchange(result.first_difference,
                      first_is_from_grid ? FindDifference(a, *reduced) : FindDifference(*reduced, b));
    if (!result.first_difference)
        result.left_out = left_out;
}

} // namespace

DiffResult Diff(Model const& a, Model const& b, ReadOptions const& options, Context const& context) {
    DiffResult result;
    result.first_difference = FindDifference(a, b);
    if (result.first_difference && IsFromGridFile(a) != IsFromGridFile(b))
        CompareAsGridFiles(a, b, options, context, result);
    context.ThrowIfCancelled();
    return result;
}

} // namespace KetSDK::MeshJobs
