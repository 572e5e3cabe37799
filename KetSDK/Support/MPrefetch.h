// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>

namespace KetSDK::Support {

// Asks for memory before it is needed. The objects of a large mesh lie anywhere in memory, and waiting for
// each takes longer than what is done with it. A loop that asks for them some rounds ahead does not wait.
// Asking changes nothing, and any address may be asked for. Every function that does nothing else must be
// always_inline like these: GCC drops calls of those that are not.

// For what will be read.
[[gnu::always_inline]] inline void Prefetch(void const* address) noexcept {
    __builtin_prefetch(address);
}

// For what will be written.
[[gnu::always_inline]] inline void PrefetchToWrite(void const* address) noexcept {
    __builtin_prefetch(address, 1);
}

// For a loop that fills memory from here on, one line of the cache after another. Left alone the processor
// asks for lines so late that a mesh which does not fit into its cache takes twice as long to write.
[[gnu::always_inline]] inline void PrefetchAheadToWrite(void const* address) noexcept {
    constexpr std::uintptr_t distance = 2048; // which may lead beyond any object: a number, not a pointer
    __builtin_prefetch(reinterpret_cast<void const*>(reinterpret_cast<std::uintptr_t>(address) + distance),
                       1);
}

} // namespace KetSDK::Support
