#include <KetSDK/MeshJobs/detail/GridModel.h>

#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>

namespace KetSDK::MeshJobs::Detail {

Model ModelFromGrid(vtkUnstructuredGrid& grid, ReadOptions const& options, Context const& context) {
    MeshVTK::MeshFromGridOptions how;
    how.unit = options.unit;
    how.labels = options.labels;
    how.limits = options.limits;
    how.progress = context.progress;
    Model model;
    model.mesh = MeshVTK::MeshFromGrid(grid, how, &model.rounding);
    model.arrays = MeshVTK::TakeArraysFromGrid(*model.mesh, grid);
    return model;
}

} // namespace KetSDK::MeshJobs::Detail
