// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Diff.h>

#include <KetSDK/Mesh/persistence/MMeshArrayDifference.h>
#include <KetSDK/Mesh/persistence/MMeshDifference.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/FramesOfInputs.h>
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

std::string FrameText(Model const& model) {
    return model.frame ? Mesh::FrameWord(*model.frame) : "not said";
}

Difference FindDifference(Model const& a, Model const& b, double tolerance) {
    Difference const found = FindMeshDifference(*a.mesh, *b.mesh, tolerance);
    return found ? found : FindValueDifference(a.arrays, b.arrays);
}

// What would be read of a file of VTK that the model was written to; nothing when no such file could hold it.
std::optional<Model> ThroughGridFile(Model const& model, ReadOptions const& options, Context const& context) {
    try {
        auto const grid = MeshVTK::GridFromMesh(*model.mesh, options.unit, model.arrays);
        Context quiet = context; // what there is to warn of was said when the model was read
        quiet.warn = nullptr;
        return Detail::ModelFromGrid(*grid, options, quiet);
    } catch (MeshVTK::Cancelled const&) {
        throw Cancelled();
    } catch (MeshVTK::Error const&) {
        return std::nullopt;
    }
}

// Compares by what files of VTK can hold, when one model is from such a file and the other one is not.
void CompareAsGridFiles(Model const& a, Model const& b, ReadOptions const& options, Context const& context,
                        double tolerance, DiffResult& result) {
    bool const first_is_from_grid = IsFromGridFile(a);
    auto const reduced = ThroughGridFile(first_is_from_grid ? b : a, options, context);
    if (!reduced)
        return;
    Difference const left_out =
        std::exchange(result.first_difference, first_is_from_grid ? FindDifference(a, *reduced, tolerance)
                                                                  : FindDifference(*reduced, b, tolerance));
    if (!result.first_difference)
        result.left_out = left_out;
}

} // namespace

DiffResult Diff(Model const& a, Model const& b, ReadOptions const& options, Context const& context,
                double tolerance) {
    DiffResult result;
    std::optional<Detail::SecondInFrameOfFirst> in_one_frame;
    if (a.frame && b.frame)
        in_one_frame.emplace(a, b, context);
    result.first_difference = FindDifference(a, b, tolerance);
    if (result.first_difference && IsFromGridFile(a) != IsFromGridFile(b))
        CompareAsGridFiles(a, b, options, context, tolerance, result);
    if (!result.first_difference && !a.frame_is_given && a.frame.has_value() != b.frame.has_value())
        result.first_difference = "frame of coordinates: " + FrameText(a) + ", " + FrameText(b);
    if (!result.first_difference && !result.left_out)
        if (Difference const types = FindArrayDifference(a.arrays, b.arrays))
            context.Warn(*types + ", which are equal");
    context.ThrowIfCancelled();
    return result;
}

} // namespace KetSDK::MeshJobs
