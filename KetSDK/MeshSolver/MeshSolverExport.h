// SPDX-License-Identifier: BSD-3-Clause
#pragma once

// Marks what the library of solvers' files exports; everything else stays hidden.
#define KETSDK_MESHSOLVER_API __attribute__((visibility("default")))
