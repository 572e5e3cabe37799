// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/SurfaceArrays.h>

#include <KetSDK/Mesh/persistence/MMeshCarrying.h>
#include <KetSDK/MeshVTK/MeshArrays.h>

#include <utility>

namespace KetSDK::MeshJobs::Detail {

std::vector<MMeshArray> AllArrays(Model const& model) {
    std::vector<MMeshArray> arrays = model.arrays;
    for (MMeshArray& own : MeshVTK::ArraysOfMesh(*model.mesh))
        SetArray(arrays, std::move(own));
    return arrays;
}

void CarryElementArrays(std::vector<MMeshArray> const& arrays, MSurfaceOrigins const& origins,
                        SurfaceModel& surface) {
    for (MMeshArray& carried : CarryArrays(arrays, origins))
        if (!FindArray(surface.arrays, carried.name, MMeshArray::OnElements))
            surface.arrays.push_back(std::move(carried));
}

} // namespace KetSDK::MeshJobs::Detail
