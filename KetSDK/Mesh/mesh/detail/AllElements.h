// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshElementContainer.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace KetSDK::Mesh::Detail {

// Whether holds(element) for all elements; asks on several threads at once when parallel.
template <typename Predicate>
bool AllElements(MMeshElementContainer const& elements, bool parallel, Predicate const& holds) {
    std::atomic<bool> all = true;
    Support::ComputeSteps({.items = elements.GetNumElements(), .step = 16384, .parallel = parallel},
                          [&](std::uint64_t first, std::uint64_t last) {
                              auto const element = [&](std::uint64_t i) {
                                  return elements.begin() + static_cast<std::ptrdiff_t>(i);
                              };
                              if (all.load(std::memory_order_relaxed) &&
                                  !std::all_of(element(first), element(last), holds))
                                  all.store(false, std::memory_order_relaxed);
                          });
    return all;
}

} // namespace KetSDK::Mesh::Detail
