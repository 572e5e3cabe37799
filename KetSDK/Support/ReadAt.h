// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Support/SupportExport.h>

#include <cstddef>
#include <cstdint>

namespace KetSDK::Support {

// Reads bytes of an open file from an offset on, also from several threads at once. Returns how many there
// were: fewer where the file ends or cannot be read.
KETSDK_SUPPORT_API std::size_t ReadAt(int file, std::uint64_t offset, char* to, std::size_t count) noexcept;

} // namespace KetSDK::Support
