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

MMeshElement::MMeshElement(MMeshElement&& other) noexcept
    : MDataMaskIndex(other) {
    TakeFrom(other);
}

MMeshElement& MMeshElement::operator=(MMeshElement&& other) noexcept {
    if (this != &other) {
        MDataMaskIndex::operator=(other);
        Free();
        TakeFrom(other);
    }
    return *this;
}

void MMeshElement::TakeFrom(MMeshElement& other) noexcept {
    m_nodes = std::exchange(other.m_nodes, nullptr);
    m_count = std::exchange(other.m_count, static_cast<unsigned char>(0));
    m_lent = std::exchange(other.m_lent, false);
}

void MMeshElement::Own(unsigned char n, MMeshPoint** nodes) noexcept {
    m_nodes = nodes;
    m_count = n;
    m_lent = false;
}

void MMeshElement::Free() noexcept {
    if (!m_lent)
        delete[] m_nodes;
    Own(0, nullptr);
}

void MMeshElement::Set(unsigned char n, MMeshPoint** nodes) {
    MMeshPoint** const copy = CopyNodes(n, nodes); // before the old ones go
    Free();
    Own(n, copy);
}

void MMeshElement::Set(std::vector<MMeshPoint*> const& nodes) {
    Set(static_cast<unsigned char>(nodes.size()), const_cast<MMeshPoint**>(nodes.data()));
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
