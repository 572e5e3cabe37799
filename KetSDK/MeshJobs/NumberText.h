// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/MeshJobsExport.h>

#include <array>
#include <cstdint>
#include <string>

namespace KetSDK::MeshJobs {

// Numbers as people read them, in the messages of jobs and wherever else results are shown.

// A number with about seven digits ("3165749.6"); tiny ones as 1.2e-05. With `scale`, the largest number of a
// column, it gets as many decimals as that one, unless nothing would be left of it.
KETSDK_MESHJOBS_API std::string FormatNumber(double value, double scale = 0.0);

// A number with as many digits as it needs, `digits` at most ("0", "0.5", "1e+30", "nan").
KETSDK_MESHJOBS_API std::string FormatGeneral(double value, int digits = 6);

// A share of all in per cent, as in "0.12 %".
KETSDK_MESHJOBS_API std::string FormatShare(std::uint64_t share, std::uint64_t all);

// A box of six numbers, lower corner first: "0 0 0 .. 100 100 50".
KETSDK_MESHJOBS_API std::string FormatBox(std::array<double, 6> const& box);

} // namespace KetSDK::MeshJobs
