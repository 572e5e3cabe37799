// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Mesh/mesh/MMeshElementPrefetch.h>
#include <KetSDK/Mesh/mesh/MeshElementsIterator.h>
#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/MBlockStorage.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <vector>

class MFile;
class MMeshBase;
class MMeshElementMaskContainer;
class MMeshPointContainer;
namespace KetSDK::Mesh::Detail {
class ElementNodeCounts;
class ElementRoom;
class MeshTagsReader;
} // namespace KetSDK::Mesh::Detail

// Elements as plain arrays.
struct MMeshElementArrays {
    std::span<unsigned char const> node_counts; // of each element; a single one for all (0: one element)
    std::span<MLong const> nodes;               // those of one element after another, by their index
    std::span<int const> sub_volumes; // of each, by the index in the mesh's list; none: the main one
};

// The elements of a mesh, addressed by their index in the container. Appending
// never moves an element. Masks and sub-volumes are kept by the mesh. Not synchronised: concurrent
// reads are safe.
class KETSDK_MESH_API MMeshElementContainer {
public:
    MMeshElementContainer() = default;
    MMeshElementContainer(MMeshElementContainer const&) = delete;
    MMeshElementContainer& operator=(MMeshElementContainer const&) = delete;
    // The source is left empty and can be filled again.
    MMeshElementContainer(MMeshElementContainer&& other) noexcept { Swap(other); }
    MMeshElementContainer& operator=(MMeshElementContainer&& other) noexcept;

    // Appends an element with the first n nodes of `nodes`, or with all of them; returns its number. Out of
    // memory, or of numbers (std::runtime_error("invalid state")), nothing is appended.
    std::uint64_t AddElement(char n, MMeshPoint** nodes);
    std::uint64_t AddElement(std::vector<MMeshPoint*> const& nodes);

    // Appends elements with nodes of `points`, on several threads when parallel, and returns how many. Throws
    // std::runtime_error("invalid state") for an index that is not there, nodes left over and a list of
    // sub-volumes of another length. Then, and out of memory, nothing is appended.
    std::uint64_t AppendElements(MMeshElementArrays const& elements, MMeshPointContainer& points,
                                 bool parallel);

    // Element i, not range-checked.
    MMeshElement* GetElementPtrAt(std::uint64_t i) noexcept {
        return &m_elements[static_cast<std::size_t>(i)];
    }
    MMeshElement const* GetElementPtrAt(std::uint64_t i) const noexcept {
        return &m_elements[static_cast<std::size_t>(i)];
    }
    std::uint64_t GetNumElements() const noexcept { return m_elements.size(); }
    // Destroys all elements and gives their memory back.
    void Clear() noexcept;

    // A new iterator at element i, owned by the caller.
    KetSDK::Mesh::Detail::MeshElementsIterator<0>* CreateElementIterAt(std::uint64_t i);
    KetSDK::Mesh::Detail::MeshElementsIterator<1>* CreateElementIterAt(std::uint64_t i) const;
    // An iterator behind the last element.
    KetSDK::Mesh::Detail::MeshElementsIterator<1> GetElementEndIter() const;

    // Writes the element block: count (32 bits), then for each element its node count (8 bits) and the
    // index of each node (32 bits), little-endian.
    void SaveElementsToFile(MFile* file) const;
    // Appends the elements of an element block, with the nodes of `mesh`, and registers each with the element
    // masks of `mesh`; they are put into no sub-volume. A block that is cut off, of an unknown element kind
    // or with a node index that the mesh does not have throws "invalid state". Then, and out of memory,
    // container and masks are as they were.
    void LoadElementsFromFile(MMeshBase* mesh, MFile* file);

    // Bytes held, node arrays included.
    std::size_t MemoryUsed() const noexcept;

    // All elements in order, for range-for.
    auto begin() noexcept { return m_elements.begin(); }
    auto end() noexcept { return m_elements.end(); }
    auto begin() const noexcept { return m_elements.begin(); }
    auto end() const noexcept { return m_elements.end(); }

    // Calls visit(element, number) for all elements in order, for loops that read the nodes. What is read of
    // later elements, which may lie anywhere in memory, is fetched ahead of its use.
    template <typename Visit>
    void ForEachWithNodes(Visit&& visit) const {
        ForEachWithNodes(0, GetNumElements(), visit);
    }
    // The same for elements first to last - 1. Fetches ahead beyond the last one: a loop that goes on with
    // the next elements finds their nodes there.
    template <typename Visit>
    void ForEachWithNodes(std::uint64_t first, std::uint64_t last, Visit&& visit) const {
        // In three steps, none of which waits for the one before: an element, its array of nodes, the nodes.
        std::uint64_t const size = GetNumElements();
        for (std::uint64_t number = first; number < last;) {
            // So many elements lie one behind the other, here and ahead.
            std::uint64_t run = last - number;
            auto const from = [&](std::uint64_t distance) {
                std::uint64_t const i = number + distance < size ? number + distance : number;
                run = std::min({run, BlockSize - i % BlockSize, size - i});
                return GetElementPtrAt(i);
            };
            MMeshElement const* const to_come = from(96);
            MMeshElement const* const with_array_to_come = from(48);
            MMeshElement const* const with_nodes_to_come = from(16);
            MMeshElement const* const elements = from(0);
            for (std::uint64_t i = 0; i < run; ++i) {
                KetSDK::Support::Prefetch(&to_come[i]);
                KetSDK::Mesh::PrefetchNodeArray(with_array_to_come[i]);
                KetSDK::Mesh::PrefetchNodes(with_nodes_to_come[i]);
                visit(elements[i], number + i);
            }
            number += run;
        }
    }

private:
    friend class MMeshBase;
    friend class KetSDK::Mesh::Detail::ElementRoom;
    friend class KetSDK::Mesh::Detail::MeshTagsReader; // makes elements while it reads the next ones
    static constexpr std::size_t BlockSize = 4096;
    using Storage = KetSDK::Support::MBlockStorage<MMeshElement, BlockSize>;

    // The node arrays of elements lie one behind the other, in memory that goes with the elements.
    KetSDK::Support::MArena& NodeMemory() {
        if (!m_memory)
            m_memory = std::make_unique<KetSDK::Support::MArena>();
        return *m_memory;
    }
    MMeshPoint** LendArray(std::size_t n) {
        return static_cast<MMeshPoint**>(NodeMemory().Allocate(n * sizeof(MMeshPoint*)));
    }
    // Appends an element with copies of so many pointers. Throws as AddElement does.
    MMeshElement& Append(unsigned char count, MMeshPoint* const* nodes);
    // Makes an element that stands on such an array, at a place that was claimed.
    static MMeshElement& MakeBorrowing(MMeshElement* place, unsigned char n, MMeshPoint** nodes) noexcept {
        MMeshElement* const element = ::new (static_cast<void*>(place)) MMeshElement;
        element->Borrow(n, nodes);
        return *element;
    }
    // So many elements with so many nodes in all will probably follow.
    void Expect(std::size_t elements, std::size_t nodes);
    void Swap(MMeshElementContainer& other) noexcept;
    // Room for elements with these nodes, which it has; not yet settled. Throws as AppendElements does.
    KetSDK::Mesh::Detail::ElementRoom ClaimRoom(MMeshElementArrays const& elements,
                                                KetSDK::Mesh::Detail::ElementNodeCounts const& counts,
                                                MMeshPointContainer& points, bool parallel);
    // Whether the elements that were claimed have been made, or are given up.
    void Settle(bool made) noexcept { m_elements.Settle(made); }
    // Appends the elements of another container, which is left empty, and registers each.
    void TakeRegistered(MMeshElementContainer& others, MMeshElementMaskContainer& masks);
    // Removes what was appended last, down to so many.
    void ShrinkTo(std::uint64_t count) noexcept;

    std::unique_ptr<KetSDK::Support::MArena> m_memory; // of the node arrays; none until there is one
    Storage m_elements;
};

namespace KetSDK::Mesh::Detail {

template <int IsConst>
inline typename MeshElementsIterator<IsConst>::Element&
MeshElementsIterator<IsConst>::operator*() const noexcept {
    return *m_container->GetElementPtrAt(m_position);
}

} // namespace KetSDK::Mesh::Detail
