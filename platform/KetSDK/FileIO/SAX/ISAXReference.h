// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>

// Something that other objects in a file can refer to by its identifier. A virtual base of the
// persistent classes, so that a class that is persistent in two ways is still one object.
// Holds nothing, and may be used from any thread.
class KETSDK_API ISAXReference {
public:
    virtual ~ISAXReference();

protected:
    ISAXReference() = default;
    ISAXReference(ISAXReference const&) = default;
    ISAXReference& operator=(ISAXReference const&) = default;
};
