// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>
#include <KetSDK/MeshVTK/RoundingReport.h>

#include <array>
#include <vector>

class vtkPoints;

namespace KetSDK::MeshVTK {

// Points in internal units, one for each of the input, in its order.
struct RoundedPoints {
    std::vector<std::array<MLong, 3>> points;
    RoundingReport report;
};

// Rounds points to internal units, on several threads when parallel and with the same result. Throws Error
// for a coordinate that is not finite, naming the first such point, and for what the limits do not accept,
// with the numbers of the report.
KETSDK_MESHVTK_API RoundedPoints RoundPoints(vtkPoints& points, LengthUnit unit, RoundingLimits const& limits,
                                             bool parallel = false);

} // namespace KetSDK::MeshVTK
