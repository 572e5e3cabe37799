// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/IDataMask.h>
#include <KetSDK/Common/Shared/MExport.h>

// Keeps a list of masks and tells them when slots appear or are reused. A mask that dies takes
// itself out of its owner; an owner that dies lets go of its masks: neither touches a dead one.
class KETSDK_API IDataMaskOwner {
public:
    virtual ~IDataMaskOwner();

    // Takes a mask out of the list. False when it is not in the list.
    virtual bool RemoveMask(IDataMask const* mask) = 0;

protected:
    IDataMaskOwner() = default;
    IDataMaskOwner(IDataMaskOwner const&) = default;
    IDataMaskOwner& operator=(IDataMaskOwner const&) = default;
};
