#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <array>
#include <cstdint>
#include <vector>

class vtkPoints;

namespace KetSDK::MeshVTK {

// What the caller accepts when coordinates are rounded to the integers of meshes and surfaces.
struct RoundingLimits {
    bool allow_out_of_range = false; // coordinates beyond the integer range are moved to its end
    bool allow_merged = false;       // different points may get the same integer coordinates
};

// What rounding did.
struct RoundingReport {
    std::uint64_t out_of_range = 0; // points with a coordinate that the integers cannot hold
    std::uint64_t merged = 0;       // points that came to lie on an earlier one from which they differ
    double largest_error = 0.0;     // largest distance in mm that a point within the range moved
};

// Points in internal units, one for each of the input, in its order.
struct RoundedPoints {
    std::vector<std::array<MLong, 3>> points;
    RoundingReport report;
};

// Rounds points to internal units. Throws Error for a coordinate that is not finite, naming the first
// such point, and for what the limits do not accept, with the numbers of the report.
KETSDK_MESHVTK_API RoundedPoints RoundPoints(vtkPoints& points, LengthUnit unit,
                                             RoundingLimits const& limits);

} // namespace KetSDK::MeshVTK
