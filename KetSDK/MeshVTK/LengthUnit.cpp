// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/LengthUnit.h>

#include <KetSDK/MeshVTK/Error.h>

namespace KetSDK::MeshVTK {

LengthUnit LengthUnit::FromName(std::string const& name) {
    if (name == "mm")
        return {1.0};
    if (name == "m")
        return {1000.0};
    if (name == "um")
        return {0.001};
    throw Error("unknown unit \"" + name + "\"; lengths are in m, mm or um");
}

} // namespace KetSDK::MeshVTK
