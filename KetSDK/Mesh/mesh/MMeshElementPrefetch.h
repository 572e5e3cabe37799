// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Support/MPrefetch.h>

#include <cstddef>

namespace KetSDK::Mesh {

// Elements with their nodes are fetched ahead in three steps, each early enough that it does not wait for the
// one before: the element, its array of nodes, the nodes. MMeshElementContainer::ForEachWithNodes does so for
// loops over all elements; what is here serves loops in another order.

// The second step; the element itself must be there.
[[gnu::always_inline]] inline void PrefetchNodeArray(MMeshElement const& e) noexcept {
    Support::Prefetch(e.GetNodes());
}

// The third step; element and array must be there.
[[gnu::always_inline]] inline void PrefetchNodes(MMeshElement const& e) noexcept {
    if (e.GetNodeCount() == 4) { // nearly always: a loop would take as long as the rest of the work
        MMeshPoint* const* const nodes = e.GetNodes();
        Support::Prefetch(nodes[0]);
        Support::Prefetch(nodes[1]);
        Support::Prefetch(nodes[2]);
        Support::Prefetch(nodes[3]);
        return;
    }
    for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
        Support::Prefetch(e.GetNode(i));
}

// In round i of `count` rounds that use element_at(i), a pointer, and its array of nodes. Fetches the array
// that is used Distance rounds later, and the element that is used twice as late.
template <std::size_t Distance, typename ElementAt>
[[gnu::always_inline]] inline void PrefetchWithNodeArray(std::size_t i, std::size_t count,
                                                         ElementAt const& element_at) {
    if (i + 2 * Distance < count)
        Support::Prefetch(element_at(i + 2 * Distance));
    if (i + Distance < count)
        PrefetchNodeArray(*element_at(i + Distance));
}

// The same for rounds that use the nodes as well: the nodes Distance rounds ahead, the array twice and the
// element three times as far.
template <std::size_t Distance, typename ElementAt>
[[gnu::always_inline]] inline void PrefetchWithNodes(std::size_t i, std::size_t count,
                                                     ElementAt const& element_at) {
    PrefetchWithNodeArray<Distance>(i + Distance, count, element_at);
    if (i + Distance < count)
        PrefetchNodes(*element_at(i + Distance));
}

} // namespace KetSDK::Mesh
