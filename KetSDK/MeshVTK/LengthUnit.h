// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <string>

namespace KetSDK::MeshVTK {

// The unit in which the coordinates of a VTK object are given. Meshes and surfaces themselves are in
// millimetres.
struct KETSDK_MESHVTK_API LengthUnit {
    double millimetres = 1.0; // that one unit is long

    // The unit named "m", "mm" or "um"; any other name throws Error.
    static LengthUnit FromName(std::string const& name);
};

} // namespace KetSDK::MeshVTK
