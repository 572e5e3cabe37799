// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshElementContainer.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/MMeshElementMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <utility>

using KetSDK::Mesh::Detail::MeshElementsIterator;

MMeshElementContainer& MMeshElementContainer::operator=(MMeshElementContainer&& other) noexcept {
    if (this != &other) {
        Clear();
        Swap(other);
    }
    return *this;
}

std::uint64_t MMeshElementContainer::AddElement(char n, MMeshPoint** nodes) {
    if (m_elements.size() >= std::numeric_limits<MLong>::max())
        throw std::length_error("more than 2147483647 elements");
    auto const count = static_cast<unsigned char>(n);
    MMeshPoint** const array = LendArray(count);
    std::copy_n(nodes, count, array);
    m_elements.emplace_back().Borrow(count, array);
    return m_elements.size() - 1;
}

std::uint64_t MMeshElementContainer::AddElement(std::vector<MMeshPoint*> const& nodes) {
    return AddElement(static_cast<char>(nodes.size()), const_cast<MMeshPoint**>(nodes.data()));
}

MMeshPoint** MMeshElementContainer::LendArray(std::size_t n) {
    if (!m_memory) {
        m_memory = std::make_unique<KetSDK::Support::MArena>();
        Storage(Allocator(m_memory.get())).swap(m_elements);
    }
    return static_cast<MMeshPoint**>(m_memory->Allocate(n * sizeof(MMeshPoint*)));
}

void MMeshElementContainer::Swap(MMeshElementContainer& other) noexcept {
    m_memory.swap(other.m_memory);
    m_elements.swap(other.m_elements);
}

namespace {

constexpr std::uint64_t ElementsPerStep = 4096;

// A negative index counts as a large one.
std::uint32_t LargestOf(std::span<MLong const> indices) noexcept {
    std::uint32_t largest = 0;
    for (MLong const index : indices)
        largest = std::max(largest, static_cast<std::uint32_t>(index));
    return largest;
}

} // namespace

// Where the nodes of elements stand in one list of all.
class MMeshElementContainer::NodeOffsets {
public:
    NodeOffsets(MMeshElementArrays const& arrays, bool parallel)
        : m_counts(arrays.node_counts) {
        if (m_counts.size() == 1) {
            m_elements = m_counts[0] > 0 ? arrays.nodes.size() / m_counts[0] : 1; // one without nodes
            m_end = m_elements * m_counts[0];
            return;
        }
        m_elements = m_counts.size();
        KetSDK::Support::ComputeSteps<std::uint64_t>(
            {.items = m_elements, .step = ElementsPerStep, .parallel = parallel},
            [this](std::uint64_t first, std::uint64_t last, std::uint64_t& sum) {
                sum = std::accumulate(&m_counts[first], &m_counts[last - 1] + 1, std::uint64_t{0});
            },
            [this](std::uint64_t, std::uint64_t, std::uint64_t sum) {
                m_offset_of_step.push_back(std::exchange(m_end, m_end + sum));
                return true;
            });
    }
    std::uint64_t NumberOfElements() const noexcept { return m_elements; }
    std::uint64_t NumberOfNodes() const noexcept { return m_end; }
    unsigned char CountOf(std::uint64_t element) const noexcept {
        return m_counts.size() == 1 ? m_counts[0] : m_counts[element];
    }
    // Of an element that begins a step.
    std::uint64_t OffsetOf(std::uint64_t element) const noexcept {
        return m_counts.size() == 1 ? element * m_counts[0] : m_offset_of_step[element / ElementsPerStep];
    }

private:
    std::span<unsigned char const> m_counts;
    std::uint64_t m_elements = 0;
    std::uint64_t m_end = 0;
    std::vector<std::uint64_t> m_offset_of_step;
};

std::uint64_t MMeshElementContainer::AppendElements(MMeshElementArrays const& arrays,
                                                    MMeshPointContainer& points, bool parallel) {
    NodeOffsets const offsets(arrays, parallel);
    std::size_t const before = m_elements.size();
    if (offsets.NumberOfNodes() != arrays.nodes.size() ||
        offsets.NumberOfElements() > std::numeric_limits<MLong>::max() - before ||
        (!arrays.sub_volumes.empty() && arrays.sub_volumes.size() != offsets.NumberOfElements()))
        throw std::runtime_error("invalid state");
    // An array that is refused halfway would stay in the memory of elements that are there already.
    if (before > 0 && !arrays.nodes.empty() && LargestOf(arrays.nodes) >= points.GetNumPoints())
        throw std::runtime_error("invalid state");
    try {
        Fill(AppendRoom(offsets.NumberOfElements(), arrays.nodes.size()), arrays, offsets, points, parallel);
    } catch (...) {
        if (before == 0)
            Clear(); // gives all memory back
        else
            ShrinkTo(before);
        throw;
    }
    return offsets.NumberOfElements();
}

void MMeshElementContainer::AppendElements(std::span<unsigned char const> node_counts,
                                           std::span<MMeshPoint* const> nodes) {
    std::size_t const before = m_elements.size();
    if (node_counts.size() > std::numeric_limits<MLong>::max() - before)
        throw std::length_error("more than 2147483647 elements");
    MMeshPoint** array = LendArray(nodes.size());
    std::ranges::copy(nodes, array);
    try {
        m_elements.resize(before + node_counts.size());
    } catch (...) {
        ShrinkTo(before);
        throw;
    }
    auto element = m_elements.begin() + static_cast<std::ptrdiff_t>(before);
    for (unsigned char const count : node_counts) {
        element->Borrow(count, array);
        array += count;
        ++element;
    }
}

MMeshElementContainer::Room MMeshElementContainer::AppendRoom(std::uint64_t elements, std::size_t nodes) {
    Room room{m_elements.size(), {}, LendArray(nodes)};
    std::size_t const end = m_elements.size() + static_cast<std::size_t>(elements);
    room.blocks.reserve(static_cast<std::size_t>(elements) / BlockSize + 2);
    m_elements.resize(end);
    // Elements are added and removed at the end only, so the first one begins a block.
    for (auto i = static_cast<std::size_t>(room.first) / BlockSize * BlockSize; i < end; i += BlockSize)
        room.blocks.push_back(&m_elements[i]);
    return room;
}

void MMeshElementContainer::Fill(Room const& room, MMeshElementArrays const& arrays,
                                 MMeshPointContainer& points) {
    Fill(room, arrays, NodeOffsets(arrays, false), points, false);
}

void MMeshElementContainer::Fill(Room const& room, MMeshElementArrays const& arrays,
                                 NodeOffsets const& offsets, MMeshPointContainer& points, bool parallel) {
    std::vector<MMeshPoint*> const blocks = points.GetBlocks();
    auto const node_at = [block = blocks.data(),
                          count = static_cast<std::uint32_t>(points.GetNumPoints())](MLong index) {
        auto const node = static_cast<std::uint32_t>(index); // a negative index becomes a large one
        if (node >= count)
            throw std::runtime_error("invalid state");
        return block[node / MMeshPointContainer::NodesPerBlock] + node % MMeshPointContainer::NodesPerBlock;
    };
    std::uint64_t const in_block = room.first % BlockSize; // where the first one lies
    KetSDK::Support::ComputeSteps(
        {.items = offsets.NumberOfElements(), .step = ElementsPerStep, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last) {
            MMeshPoint** nodes = room.nodes + offsets.OffsetOf(first);
            MLong const* index = arrays.nodes.data() + offsets.OffsetOf(first);
            for (std::uint64_t element = first; element < last;) {
                std::uint64_t const at = in_block + element;
                // So many elements lie one behind the other.
                std::uint64_t const end = std::min(last, element + BlockSize - at % BlockSize);
                for (MMeshElement* e = room.blocks[at / BlockSize] + at % BlockSize; element < end;
                     ++element, ++e) {
                    unsigned char const count = offsets.CountOf(element);
                    e->Borrow(count, nodes);
                    for (MMeshPoint* const* const next = nodes + count; nodes < next; ++nodes, ++index)
                        *nodes = node_at(*index);
                }
            }
        });
}

void MMeshElementContainer::Clear() noexcept {
    Storage().swap(m_elements);
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
    m_elements.erase(m_elements.begin() + static_cast<std::ptrdiff_t>(count), m_elements.end());
}

std::size_t MMeshElementContainer::MemoryUsed() const noexcept {
    std::size_t bytes = m_memory ? m_memory->MemoryUsed() : 0;
    for (MMeshElement const& element : m_elements) {
        // What the allocator takes for an array of the element's own: a header and sixteen-byte steps.
        std::size_t const payload = element.GetNodeCount() * sizeof(MMeshPoint*);
        bytes += element.m_lent ? 0 : (payload + sizeof(std::size_t) + 15) / 16 * 16;
    }
    return bytes;
}
