// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/DoubleNodes.h>

#include <KetSDK/Mesh/operators/MMeshTopology.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/Threads.h>

#include <string>

namespace KetSDK::MeshJobs::Detail {

void WarnOfDoubleNodes(Model const& model, Context const& context) {
    if (std::uint64_t const count = Mesh::CountDoubleNodes(*model.mesh))
        context.Warn(
            NameOf(model) + ": " + std::to_string(count) +
            " nodes lie at the position of another one, so the elements that touch there are not connected "
            "and have no interface; ketmesh weld joins them");
}

std::uint64_t WarnOfDuplicateElements(MMeshBase const& mesh, std::string const& name,
                                      Context const& context) {
    std::uint64_t count = 0;
    WithThreads(context, [&](bool parallel) { count = Mesh::CountDuplicateElements(mesh, parallel); });
    if (count > 0)
        context.Warn(name + ": " + std::to_string(count) +
                     (count == 1 ? " element lies on the nodes of an earlier one and counts"
                                 : " elements lie on the nodes of earlier ones and count") +
                     " again in volumes and masses; ketmesh check counts such elements");
    return count;
}

} // namespace KetSDK::MeshJobs::Detail
