// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Triangles/Data/IScalarMask.h>

// Defined here so that the type information of the interface lives in one library.
IScalarMask::~IScalarMask() = default;
