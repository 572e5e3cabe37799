// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>

// The SDK's long integer: 32 bits on every platform.
using MLong = std::int32_t;
