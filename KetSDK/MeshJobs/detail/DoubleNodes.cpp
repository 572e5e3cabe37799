// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/DoubleNodes.h>

#include <KetSDK/Mesh/operators/MMeshTopology.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>

#include <string>

namespace KetSDK::MeshJobs::Detail {

void WarnOfDoubleNodes(Model const& model, Context const& context) {
    if (std::uint64_t const count = Mesh::CountDoubleNodes(*model.mesh))
        context.Warn(
            NameOf(model) + ": " + std::to_string(count) +
            " nodes lie at the position of another one, so the elements that touch there are not connected "
            "and have no interface; ketmesh weld joins them");
}

} // namespace KetSDK::MeshJobs::Detail
