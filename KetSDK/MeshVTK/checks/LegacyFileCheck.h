// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string_view>

namespace KetSDK::MeshVTK::Detail {

// Walks through a legacy .vtk file with an unstructured grid and throws Error unless everything is there that
// it announces. That is all values of all blocks, lists of cells that add up, a type for each cell, and
// arrays as long as there are points or cells. VTK's reader trusts the counts in these files: wrong ones make
// it read beyond its buffers, and of a file that is cut off it keeps what it finds. What the values are is
// not looked at.
void CheckLegacyFile(std::string_view bytes);

} // namespace KetSDK::MeshVTK::Detail
