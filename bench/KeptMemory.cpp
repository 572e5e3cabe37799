// SPDX-License-Identifier: BSD-3-Clause
#include "KeptMemory.h"

#include <KetSDK/Support/MArenaAllocator.h>

#include <malloc.h>

#include <cstddef>

namespace Bench {
namespace {

// Room for what the conversion of 5*10^7 elements to ten nodes frees.
constexpr std::size_t MostKept = std::size_t{15} << 30;

} // namespace

void KeepFreedMemory() {
    KetSDK::Support::SetMostKeptMemory(MostKept);
    mallopt(M_ARENA_MAX, 1); // others take large pieces from the system, and give them back
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1); // never
}

void ReleaseFreedMemory() {
    KetSDK::Support::ReleaseKeptMemory();
    malloc_trim(0);
}

double HeapBytes() {
    KetSDK::Support::ReleaseKeptMemory();
    struct mallinfo2 const info = mallinfo2();
    return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
}

} // namespace Bench
