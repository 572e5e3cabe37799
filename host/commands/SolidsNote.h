// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Model.h>
#include <host/terminal/Output.h>

#include <iosfwd>

namespace ketmesh {

// Says what a command made of hexahedra and wedges: it took them as they are, or as the tetrahedra of their
// conforming cut.

// Adds `hexahedra_and_wedges`: null when there are none, else `elements`, `taken_as` ("elements" or
// "tetrahedra") and, of the latter, `tetrahedra`.
void AddSolids(Json& report, KetSDK::MeshJobs::SolidsReport const& solids);
// Prints a note where there are some.
void PrintSolids(std::ostream& out, KetSDK::MeshJobs::SolidsReport const& solids);

} // namespace ketmesh
