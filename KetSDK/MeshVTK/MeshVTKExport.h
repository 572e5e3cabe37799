// SPDX-License-Identifier: BSD-3-Clause
#pragma once

// Marks what the bridge to VTK exports; everything else stays hidden.
#define KETSDK_MESHVTK_API __attribute__((visibility("default")))
