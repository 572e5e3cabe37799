// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/EditDistance.h>

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>
#include <vector>

namespace KetSDK::MeshJobs {

std::size_t EditDistance(std::string_view a, std::string_view b) {
    auto const lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            std::size_t const replaced = diagonal + (lower(a[i]) != lower(b[j]));
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

} // namespace KetSDK::MeshJobs
