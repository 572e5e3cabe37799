// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshElement.h>

#include <algorithm>

namespace {

MMeshPoint** CopyNodes(std::size_t n, MMeshPoint* const* nodes) {
    auto copy = new MMeshPoint*[n];
    std::copy_n(nodes, n, copy);
    return copy;
}

} // namespace

MMeshElement::MMeshElement(unsigned char n, MMeshPoint** nodes)
    : m_nodes(CopyNodes(n, nodes))
    , m_count(n) {}

MMeshElement::MMeshElement(std::vector<MMeshPoint*> const& nodes)
    : m_nodes(CopyNodes(static_cast<unsigned char>(nodes.size()), nodes.data()))
    , m_count(static_cast<unsigned char>(nodes.size())) {}

MMeshElement& MMeshElement::operator=(MMeshElement&& other) noexcept {
    if (this != &other) {
        MDataMaskIndex::operator=(other);
        delete[] m_nodes;
        m_nodes = std::exchange(other.m_nodes, nullptr);
        m_count = std::exchange(other.m_count, static_cast<unsigned char>(0));
        m_flags = other.m_flags;
    }
    return *this;
}

void MMeshElement::Free() noexcept {
    delete[] m_nodes;
    m_nodes = nullptr;
    m_count = 0;
}

void MMeshElement::Set(unsigned char n, MMeshPoint** nodes) {
    MMeshPoint** const copy = CopyNodes(n, nodes);
    delete[] m_nodes;
    m_nodes = copy;
    m_count = n;
}

void MMeshElement::Set(std::vector<MMeshPoint*> const& nodes) {
    MMeshPoint** const copy = CopyNodes(static_cast<unsigned char>(nodes.size()), nodes.data());
    delete[] m_nodes;
    m_nodes = copy;
    m_count = static_cast<unsigned char>(nodes.size());
}

MMeshElementDescriptor::ElementType MMeshElement::GetType() const noexcept {
    switch (m_count) {
    case 4:
        return MMeshElementDescriptor::Tet4;
    case 10:
        return MMeshElementDescriptor::Tet10;
    case 8:
        return MMeshElementDescriptor::Hex8;
    default:
        return MMeshElementDescriptor::Other;
    }
}
