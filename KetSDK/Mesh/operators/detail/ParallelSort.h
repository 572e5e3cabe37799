// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Support/ParallelWork.h>

#include <tbb/parallel_sort.h>

#include <algorithm>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Sorts values of which no two are equal but the same, so that threads cannot change the result.
template <typename Value, typename Less>
void Sort(std::vector<Value>& values, Less const& less, bool parallel) {
    if (parallel)
        Support::RunApart([&] { tbb::parallel_sort(values.begin(), values.end(), less); });
    else
        std::sort(values.begin(), values.end(), less);
}

} // namespace KetSDK::Mesh::Detail
