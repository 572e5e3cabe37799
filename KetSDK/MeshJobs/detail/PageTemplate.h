// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <span>
#include <string_view>

namespace KetSDK::MeshJobs::Detail {

// The page that view/ makes, in pieces: all that stands before the data of a model, and all behind it. Empty
// where it was not built.
struct PageTemplate {
    std::span<std::string_view const> before;
    std::span<std::string_view const> behind;
};
PageTemplate GetPageTemplate();

} // namespace KetSDK::MeshJobs::Detail
