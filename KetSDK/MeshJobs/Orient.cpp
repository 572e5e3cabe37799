// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Orient.h>

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/VolumeOf.h>

namespace KetSDK::MeshJobs {

namespace {

OrientResult CountTetrahedra(MMeshBase const& mesh) {
    OrientResult result;
    result.elements = static_cast<std::uint64_t>(mesh.NumberOfElements());
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
        if (e.GetNodeCount() != 4 && e.GetNodeCount() != 10)
            return;
        ++result.tetrahedra;
        result.flat += TetrahedronBase<double>(&e).Volume() == 0.0;
    });
    return result;
}

} // namespace

OrientResult Orient(Model& model, Context const& context) {
    OrientResult result = CountTetrahedra(*model.mesh);
    if (result.tetrahedra == 0)
        throw FileError(model.file, "there are no tetrahedra that could be turned");
    result.volume_before = Detail::VolumeOf(*model.mesh);
    MMeshOrientOperator orient;
    Detail::RunOperator(orient, model, "its elements could not be turned", context);
    result.corrected = static_cast<std::uint64_t>(orient.GetNbCorrected());
    result.volume_after = Detail::VolumeOf(*model.mesh);
    return result;
}

} // namespace KetSDK::MeshJobs
