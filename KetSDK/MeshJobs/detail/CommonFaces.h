// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Model.h>

namespace KetSDK::MeshJobs::Detail {

// Throws FileError when so many tetrahedra have one face in common that looking for neighbours, which takes
// the cube of their number, would not end in reasonable time. Of a mesh that is sound two have one.
void RequireFewAtEachFace(Model const& model);

} // namespace KetSDK::MeshJobs::Detail
