// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshElementContainer.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/MMeshElementMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <limits>
#include <stdexcept>

using KetSDK::Mesh::Detail::MeshElementsIterator;

MMeshElementContainer& MMeshElementContainer::operator=(MMeshElementContainer&& other) noexcept {
    if (this != &other) {
        Clear();
        m_elements.swap(other.m_elements);
    }
    return *this;
}

std::uint64_t MMeshElementContainer::AddElement(char n, MMeshPoint** nodes) {
    // Made before the deque makes room for it: Boost's loses a new block when the constructor throws.
    m_elements.push_back(MMeshElement(static_cast<unsigned char>(n), nodes));
    return m_elements.size() - 1;
}

std::uint64_t MMeshElementContainer::AddElement(std::vector<MMeshPoint*> const& nodes) {
    m_elements.push_back(MMeshElement(nodes));
    return m_elements.size() - 1;
}

void MMeshElementContainer::Clear() noexcept {
    Storage().swap(m_elements);
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
            m_elements.swap(others.m_elements);
        else
            for (MMeshElement& element : others)
                m_elements.push_back(std::move(element));
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
    std::size_t const blocks = (m_elements.size() + BlockSize - 1) / BlockSize;
    std::size_t bytes = blocks * (BlockSize * sizeof(MMeshElement) + sizeof(void*));
    for (MMeshElement const& element : m_elements) {
        // What the allocator takes for a node array: a header and sixteen-byte steps.
        std::size_t const payload = element.GetNodeCount() * sizeof(MMeshPoint*);
        bytes += (payload + sizeof(std::size_t) + 15) / 16 * 16;
    }
    return bytes;
}
