// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMeshMask.h>

MMeshMask::~MMeshMask() = default;
