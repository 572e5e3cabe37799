// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshElementContainer.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/MMeshElementMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/detail/ElementRoom.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <bit>
#include <cstring>
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
        throw std::runtime_error("invalid state");
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

namespace {

// The elements of a block as bytes, many at a time.
constexpr std::size_t BytesAtOnce = std::size_t{1} << 16;
constexpr std::size_t NumberSize = sizeof(MLong);
constexpr std::size_t SmallestElement = 1 + 4 * NumberSize;
constexpr std::size_t LargestElement = 1 + std::numeric_limits<std::uint8_t>::max() * NumberSize;

// A number and its bytes, the lowest first.
void PutNumber(MLong number, std::byte* bytes) noexcept {
    std::memcpy(bytes, &number, NumberSize);
    if constexpr (std::endian::native == std::endian::big)
        std::reverse(bytes, bytes + NumberSize);
}
MLong NumberAt(std::byte const* bytes) noexcept {
    std::byte own[NumberSize];
    std::copy_n(bytes, NumberSize, own);
    if constexpr (std::endian::native == std::endian::big)
        std::reverse(own, own + NumberSize);
    MLong number;
    std::memcpy(&number, own, NumberSize);
    return number;
}

// Takes elements from a block, of which it reads no byte too many.
class ElementBlockReader {
public:
    ElementBlockReader(MFile& file, std::uint32_t elements)
        : m_file(file)
        , m_elements_left(elements) {}

    // Of the next element the number of nodes and their indices, NumberSize bytes each. Throws
    // std::runtime_error("invalid state") for one of an unknown kind and for one that is cut off.
    std::span<std::byte const> Take() {
        if (m_end - m_next < SmallestElement)
            Fetch(SmallestElement);
        auto const nodes = std::to_integer<unsigned char>(m_bytes[m_next]);
        if (MMeshElementDescriptor::GetNumTetraOfElement(nodes) == 0)
            throw std::runtime_error("invalid state");
        std::size_t const size = 1 + nodes * NumberSize;
        if (m_end - m_next < size)
            Fetch(size);
        --m_elements_left;
        m_next += size;
        return {m_bytes.data() + (m_next - size + 1), size - 1};
    }

private:
    // So many bytes at least of the next element, and what all others have at least.
    void Fetch(std::size_t size) {
        std::copy(m_bytes.data() + m_next, m_bytes.data() + m_end, m_bytes.data());
        m_end -= m_next;
        m_next = 0;
        std::uint64_t const certain = size + (m_elements_left - 1) * std::uint64_t{SmallestElement};
        auto const wanted = static_cast<std::size_t>(std::min<std::uint64_t>(certain, BytesAtOnce));
        if (m_file.Read(m_bytes.data() + m_end, wanted - m_end) < wanted - m_end)
            throw std::runtime_error("invalid state");
        m_end = wanted;
    }

    MFile& m_file;
    std::uint64_t m_elements_left;
    std::vector<std::byte> m_bytes = std::vector<std::byte>(BytesAtOnce);
    std::size_t m_next = 0; // up to m_end
    std::size_t m_end = 0;
};

} // namespace

void MMeshElementContainer::SaveElementsToFile(MFile* file) const {
    file->WRITE(static_cast<std::uint32_t>(m_elements.size()));
    std::vector<std::byte> bytes(BytesAtOnce + LargestElement);
    std::byte* next = bytes.data();
    auto const write = [&] {
        file->Write(bytes.data(), static_cast<std::size_t>(next - bytes.data()));
        next = bytes.data();
    };
    ForEachWithNodes([&](MMeshElement const& element, std::uint64_t) {
        *next++ = std::byte{element.GetNodeCount()};
        for (unsigned int i = 0; i < element.GetNodeCount(); ++i, next += NumberSize)
            PutNumber(element.GetNode(i)->GetIndex(), next);
        if (next >= bytes.data() + BytesAtOnce)
            write();
    });
    write();
}

void MMeshElementContainer::LoadElementsFromFile(MMeshBase* mesh, MFile* file) {
    // The block is read into a container of its own first, so that a bad one changes nothing.
    MMeshElementContainer loaded;
    auto const count = file->READ<std::uint32_t>();
    if (!file->IsGood())
        throw std::runtime_error("invalid state");
    ElementBlockReader block(*file, count);
    std::vector<MMeshPoint*> nodes(std::numeric_limits<std::uint8_t>::max());
    auto const points = static_cast<std::uint32_t>(mesh->NumberOfPoints());
    for (std::uint32_t i = 0; i < count; ++i) {
        std::span<std::byte const> const numbers = block.Take();
        std::size_t const n = numbers.size() / NumberSize;
        for (std::size_t k = 0; k < n; ++k) {
            // A negative number becomes a large one.
            auto const number = static_cast<std::uint32_t>(NumberAt(&numbers[k * NumberSize]));
            if (number >= points)
                throw std::runtime_error("invalid state");
            nodes[k] = &*mesh->GetRandomPoint(number);
        }
        loaded.Append(static_cast<unsigned char>(n), nodes.data());
    }
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
