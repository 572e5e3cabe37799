// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>

// A set of values, one per object of some kind. What kind is known by the derived class; owners
// find out with a checked down-cast.
class KETSDK_API IDataMask {
public:
    virtual ~IDataMask();

protected:
    IDataMask() = default;
    IDataMask(IDataMask const&) = default;
    IDataMask& operator=(IDataMask const&) = default;
};
