// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/MeshJobsExport.h>

#include <cstddef>
#include <string_view>

namespace KetSDK::MeshJobs {

// How many characters must be inserted, removed or replaced to make one word of the other, where upper and
// lower case are the same. Finds the name that a misspelt one may mean. Levenshtein, Soviet Physics Doklady
// 10 (1966) 707-710.
KETSDK_MESHJOBS_API std::size_t EditDistance(std::string_view a, std::string_view b);

} // namespace KetSDK::MeshJobs
