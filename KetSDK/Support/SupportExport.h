// SPDX-License-Identifier: BSD-3-Clause
#pragma once

// Marks what our own tools export; everything else stays hidden.
#define KETSDK_SUPPORT_API __attribute__((visibility("default")))
