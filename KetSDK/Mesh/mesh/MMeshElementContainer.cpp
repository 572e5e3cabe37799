// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshElementContainer.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/MMeshElementMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/detail/ElementRoom.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

using namespace KetSDK::Mesh::Detail;

MMeshElementContainer& MMeshElementContainer::operator=(MMeshElementContainer&& other) noexcept {
    if (this != &other) {
        Clear();
        Swap(other);
    }
    return *this;
}

std::uint64_t MMeshElementContainer::AddElement(char n, MMeshPoint** nodes) {
    Append(static_cast<unsigned char>(n), nodes);
    return m_elements.size() - 1;
}

std::uint64_t MMeshElementContainer::AddElement(std::vector<MMeshPoint*> const& nodes) {
    return AddElement(static_cast<char>(nodes.size()), const_cast<MMeshPoint**>(nodes.data()));
}

MMeshElement& MMeshElementContainer::Append(unsigned char count, MMeshPoint* const* nodes) {
    if (m_elements.size() >= std::numeric_limits<MLong>::max())
        throw std::length_error("more than 2147483647 elements");
    MMeshPoint** const array = LendArray(count);
    KetSDK::Support::PrefetchAheadToWrite(array);
    for (unsigned int i = 0; i < count; ++i) // a call would take as long as the rest
        array[i] = nodes[i];
    MMeshElement& element = m_elements.emplace_back();
    KetSDK::Support::PrefetchAheadToWrite(&element);
    element.Borrow(count, array);
    return element;
}

void MMeshElementContainer::Expect(std::size_t elements, std::size_t nodes) {
    m_elements.Expect(elements);
    NodeMemory().Expect(nodes * sizeof(MMeshPoint*));
}

void MMeshElementContainer::Swap(MMeshElementContainer& other) noexcept {
    m_memory.swap(other.m_memory);
    m_elements.swap(other.m_elements);
}

std::uint64_t MMeshElementContainer::AppendElements(MMeshElementArrays const& arrays,
                                                    MMeshPointContainer& points, bool parallel) {
    ElementNodeCounts const counts(arrays.node_counts, arrays.nodes.size(), parallel);
    ElementRoom const room = ClaimRoom(arrays, counts, points, parallel);
    KetSDK::Support::ComputeStepsSafely(
        {.items = counts.NumberOfElements(), .step = ElementNodeCounts::Step, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last) {
            room.Make(counts, first, last, [](MMeshElement&, std::uint64_t) {});
        });
    Settle(true);
    return counts.NumberOfElements();
}

ElementRoom MMeshElementContainer::ClaimRoom(MMeshElementArrays const& arrays,
                                             ElementNodeCounts const& counts, MMeshPointContainer& points,
                                             bool parallel) {
    std::size_t const before = m_elements.size();
    if (counts.NumberOfNodes() != arrays.nodes.size() ||
        counts.NumberOfElements() > std::numeric_limits<MLong>::max() - before ||
        (!arrays.sub_volumes.empty() && arrays.sub_volumes.size() != counts.NumberOfElements()))
        throw std::runtime_error("invalid state");
    // An array that is refused halfway would stay in the memory of elements that are there already.
    if (before > 0 && !arrays.nodes.empty() && LargestOf(arrays.nodes) >= points.GetNumPoints())
        throw std::runtime_error("invalid state");
    try {
        ElementRoom room(*this, counts.NumberOfElements(), arrays.nodes.size());
        room.EnterAllNodes(arrays.nodes, points, parallel);
        return room;
    } catch (...) {
        Settle(false);
        if (before == 0)
            Clear(); // gives all memory back
        throw;
    }
}

void MMeshElementContainer::Clear() noexcept {
    m_elements.Clear();
    m_memory.reset();
}

MeshElementsIterator<0>* MMeshElementContainer::CreateElementIterAt(std::uint64_t i) {
    return new MeshElementsIterator<0>(this, i);
}

MeshElementsIterator<1>* MMeshElementContainer::CreateElementIterAt(std::uint64_t i) const {
    return new MeshElementsIterator<1>(this, i);
}

MeshElementsIterator<1> MMeshElementContainer::GetElementEndIter() const {
    return {this, m_elements.size()};
}

void MMeshElementContainer::SaveElementsToFile(MFile* file) const {
    file->WRITE(static_cast<std::uint32_t>(m_elements.size()));
    ForEachWithNodes([file](MMeshElement const& element, std::uint64_t) {
        file->WRITE(element.GetNodeCount());
        for (unsigned int i = 0; i < element.GetNodeCount(); ++i)
            file->WRITE(element.GetNode(i)->GetIndex());
    });
}

void MMeshElementContainer::LoadElementsFromFile(MMeshBase* mesh, MFile* file) {
    // The block is read into a container of its own first, so that a bad one changes nothing.
    MMeshElementContainer loaded;
    auto const count = file->READ<std::uint32_t>();
    std::vector<MMeshPoint*> nodes(std::numeric_limits<std::uint8_t>::max());
    for (std::uint32_t i = 0; i < count && file->IsGood(); ++i) {
        auto const n = file->READ<std::uint8_t>();
        if (MMeshElementDescriptor::GetNumTetraOfElement(n) == 0)
            throw std::runtime_error("invalid state");
        for (unsigned int k = 0; k < n; ++k) {
            auto const number = file->READ<MLong>();
            if (number < 0 || number >= mesh->NumberOfPoints())
                throw std::runtime_error("invalid state");
            nodes[k] = mesh->GetRandomPoint(static_cast<std::uint64_t>(number));
        }
        loaded.AddElement(static_cast<char>(n), nodes.data());
    }
    if (!file->IsGood())
        throw std::runtime_error("invalid state");
    TakeRegistered(loaded, *mesh->GetElementMasks());
}

void MMeshElementContainer::TakeRegistered(MMeshElementContainer& others, MMeshElementMaskContainer& masks) {
    std::uint64_t const before = GetNumElements();
    std::uint64_t const count = others.GetNumElements();
    try {
        if (m_elements.empty())
            Swap(others);
        else
            for (MMeshElement const& element : others)
                AddElement(static_cast<char>(element.GetNodeCount()),
                           const_cast<MMeshPoint**>(element.GetNodes()));
        auto element = m_elements.begin() + static_cast<std::ptrdiff_t>(before);
        masks.RegisterMaskObjects(count, [&element]() -> MMeshElement& { return *element++; });
    } catch (...) {
        ShrinkTo(before);
        throw;
    }
}

void MMeshElementContainer::ShrinkTo(std::uint64_t count) noexcept {
    m_elements.ShrinkTo(static_cast<std::size_t>(count));
}

std::size_t MMeshElementContainer::MemoryUsed() const noexcept {
    std::size_t bytes = m_elements.MemoryUsed() + (m_memory ? m_memory->MemoryUsed() : 0);
    for (MMeshElement const& element : m_elements) {
        // What the allocator takes for an array of the element's own: a header and sixteen-byte steps.
        std::size_t const payload = element.GetNodeCount() * sizeof(MMeshPoint*);
        bytes += element.m_lent ? 0 : (payload + sizeof(std::size_t) + 15) / 16 * 16;
    }
    return bytes;
}
