// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/detail/PageFields.h>

#include <cstdint>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs::Detail {

// Which elements of a mesh that is too large a page shows. Those have a face at the surface or at an
// interface, on both of its sides, or are the worst by a metric.
struct ShownElements {
    std::vector<std::uint32_t> elements; // ascending
    // For each of them a bit for each face, as solvers count them, at which the mesh ends. At other faces
    // without a neighbour in the page there is an element that is not shown.
    std::string ends;
};
// Works on several threads when parallel; the elements are the same.
ShownElements ChooseShownElements(MMeshBase const& mesh, std::vector<PageField> const& fields, bool parallel);

} // namespace KetSDK::MeshJobs::Detail
