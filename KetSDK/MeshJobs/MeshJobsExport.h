// SPDX-License-Identifier: BSD-3-Clause
#pragma once

// Marks what the layer of jobs exports; everything else stays hidden.
#define KETSDK_MESHJOBS_API __attribute__((visibility("default")))
