// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/meshing/detail/LabelWeights.h>
#include <KetSDK/Mesh/meshing/detail/Lattice.h>

#include <cstdint>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Changes labels of tetrahedra, few of them, until the boundary of every label, and of what is outside, is a
// closed two-manifold. Around each node the tetrahedra of a label are connected through faces, and so are
// those of all others. That settles edges as well: where labels alternate around one, they are not connected
// at its ends. The result depends on the labels alone. Returns the number of changes.
//
// It ends: a tetrahedron changes a few times at most in favour of the labels around it. From then on the
// labels around a bad node all become the lowest of them, and indices cannot fall for ever.
std::uint64_t MakeManifold(Lattice const& lattice, NodeTetrahedra const& around, bool parallel,
                           std::vector<LabelIndex>& labels);

} // namespace KetSDK::Mesh::Detail
