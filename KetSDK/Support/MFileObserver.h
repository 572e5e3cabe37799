// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Support/SupportExport.h>

#include <cstddef>

// Sees the bytes of a file as they come from the system or go there, in order and in large pieces: for
// checksums, progress, and for giving up. Used by the thread that uses the file.
class KETSDK_SUPPORT_API MFileObserver {
public:
    // Throws nothing. With false nothing more is read or written, and IsGood() of the file turns false.
    virtual bool OnBytes(std::byte const* bytes, std::size_t size) = 0;

protected:
    MFileObserver() = default;
    MFileObserver(MFileObserver const&) = default;
    MFileObserver& operator=(MFileObserver const&) = default;
    ~MFileObserver() = default;
};
