// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Common/Shared/IDataMask.h>
#include <KetSDK/Common/Shared/IDataMaskOwner.h>

// Defined here so that the type information of both interfaces lives in one library.
IDataMask::~IDataMask() = default;
IDataMaskOwner::~IDataMaskOwner() = default;
