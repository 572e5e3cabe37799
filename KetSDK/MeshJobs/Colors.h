// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <cfloat>
#include <vector>

namespace KetSDK::MeshJobs {

// An interval of grey values, from low up to high, and its colour.
struct ColorInterval {
    double low;
    double high;
    unsigned int color; // 0x00RRGGBB
};

struct ColorsOptions {
    int bins = 10;          // number of intervals
    double from = -DBL_MAX; // only grey values from this one ...
    double to = DBL_MAX;    // ... up to this one, which is left out
};

struct ColorsResult {
    std::vector<ColorInterval> intervals; // ascending, each begins where the one before ends
};

// Colours for intervals of equal width over the grey values of a model's elements. Throws FileError for a
// model without grey values, without one between the bounds, and where all are the same; Cancelled.
KETSDK_MESHJOBS_API ColorsResult Colors(Model const& model, ColorsOptions const& options,
                                        Context const& context);

// Colours for intervals that begin at these grey values, one at least; the last is as wide as the one before,
// or 1 wide. Throws Error when they do not ascend.
KETSDK_MESHJOBS_API ColorsResult ColorsOfIntervals(std::vector<double> const& starts);

} // namespace KetSDK::MeshJobs
