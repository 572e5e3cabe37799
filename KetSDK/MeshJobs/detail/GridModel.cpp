// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/GridModel.h>

#include <KetSDK/Mesh/persistence/MMeshFrameArray.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/MeshVTK/FlatCells.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>

#include <string>

namespace KetSDK::MeshJobs::Detail {

Model ModelFromGrid(vtkUnstructuredGrid& grid, ReadOptions const& options, Context const& context) {
    MeshVTK::MeshFromGridOptions how;
    how.unit = options.unit;
    how.labels = options.labels;
    how.limits = options.limits;
    how.warn = context.warn;
    how.progress = context.progress;
    if (std::string const skipped = MeshVTK::SkipFlatCells(grid); !skipped.empty())
        context.Warn("cells without volume are left out: " + skipped);
    Model model;
    WithThreads(context, [&](bool parallel) {
        how.parallel = parallel;
        model.mesh = MeshVTK::MeshFromGrid(grid, how, &model.rounding);
        model.arrays = MeshVTK::TakeArraysFromGrid(*model.mesh, grid, parallel);
    });
    model.frame = TakeFrame(model.arrays);
    return model;
}

} // namespace KetSDK::MeshJobs::Detail
