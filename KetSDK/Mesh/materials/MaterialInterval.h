// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>

#include <cfloat>
#include <string>

// What an interval of grey values stands for: where it begins, and the value that it carries. DBL_MAX
// marks a number that is not set. A value; safe to read from several threads.
struct KETSDK_MESH_API MaterialInterval {
    // The undefined interval: no number set, no name.
    MaterialInterval() = default;
    MaterialInterval(double start_at, double first, double second, double third, std::wstring const& label)
        : start(start_at)
        , value(first)
        , value2(second)
        , value3(third)
        , name(label) {}

    // Whether one of the three values is set. Where the interval starts does not count.
    bool IsDefined() const noexcept { return value != DBL_MAX || value2 != DBL_MAX || value3 != DBL_MAX; }

    // Grey value at which the interval begins.
    double start = DBL_MAX;
    // A density, or a grey value where there is no law for densities.
    double value = DBL_MAX;
    // Further values and a label, for lists that come from elsewhere; the builders of MHUList set none.
    double value2 = DBL_MAX;
    double value3 = DBL_MAX;
    std::wstring name;
};
