// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <cstdint>

namespace KetSDK::MeshJobs {

// What turning did.
struct OrientResult {
    std::uint64_t elements = 0;
    std::uint64_t tetrahedra = 0; // of the elements
    std::uint64_t flat = 0;       // tetrahedra without volume, which no turning helps; they stay
    std::uint64_t corrected = 0;  // inverted tetrahedra, which were turned
    double volume_before = 0.0;   // mm3, signed
    double volume_after = 0.0;
};
// Turns inverted tetrahedra, whose corners span a negative volume, in place; other elements stay as they are.
// Throws FileError for a mesh without tetrahedra.
KETSDK_MESHJOBS_API OrientResult Orient(Model& model, Context const& context);

} // namespace KetSDK::MeshJobs
