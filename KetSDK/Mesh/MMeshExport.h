// SPDX-License-Identifier: BSD-3-Clause
#pragma once

// Marks what the mesh library exports; everything else stays hidden.
#define KETSDK_MESH_API __attribute__((visibility("default")))
