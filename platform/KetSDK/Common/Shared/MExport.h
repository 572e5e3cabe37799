// SPDX-License-Identifier: BSD-3-Clause
#pragma once

// Marks a class or function that a KetSDK shared library exports; everything else stays hidden.
#define KETSDK_API __attribute__((visibility("default")))
