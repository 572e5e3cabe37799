// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshElementIterators.h>

#include <KetSDK/Mesh/mesh/MMeshElementContainer.h>

#include <new>

using Descriptor = MMeshElementDescriptor;

namespace {

// Where the iterator below starts behind an iterator of `size` bytes in one block of storage.
constexpr std::size_t AlignedSize(std::size_t size) {
    constexpr std::size_t step = alignof(std::max_align_t);
    return (size + step - 1) / step * step;
}

// The place behind an object of type T in a block of storage; null without a block.
template <typename T>
void* Behind(void* storage) {
    return storage ? static_cast<std::byte*>(storage) + AlignedSize(sizeof(T)) : nullptr;
}

char Next(char number) {
    return static_cast<char>(number + 1);
}

MMeshElement const& CurrentElement(MMeshTetrahedronIterator const& it) {
    return **it.GetElementIt();
}

} // namespace

// MMeshTetrahedronIterator

MMeshTetrahedronIterator::~MMeshTetrahedronIterator() = default;

std::size_t MMeshTetrahedronIterator::GetCloneSize() const {
    return AlignedSize(sizeof(MMeshTetrahedronIterator)) + m_element_it->GetCloneSize();
}

template <typename T>
T* MMeshTetrahedronIterator::CloneAs(void* storage) const {
    static_assert(sizeof(T) == sizeof(MMeshTetrahedronIterator), "GetCloneSize counts on it");
    T const& self = static_cast<T const&>(*this);
    T* const copy = storage ? new (storage) T(self) : new T(self);
    copy->m_element_it.Separate(Behind<T>(storage));
    return copy;
}

MMeshTetrahedronIterator* MMeshTetrahedronIterator::Clone(void* storage) const {
    return CloneAs<MMeshTetrahedronIterator>(storage);
}

MMeshTetrahedronIterator& MMeshTetrahedronIterator::operator++() {
    m_tetrahedron = Next(m_tetrahedron);
    // Equality on purpose: an element of unknown kind is left only after the counter has wrapped round.
    if (m_tetrahedron ==
        static_cast<char>(Descriptor::GetNumTetraOfElement(CurrentElement(*this).GetNodeCount()))) {
        m_tetrahedron = 0;
        ++*m_element_it;
    }
    return *this;
}

void MMeshTetrahedronIterator::First() {
    m_element_it->First();
    m_tetrahedron = 0;
}

bool MMeshTetrahedronIterator::IsDone() {
    return m_element_it->IsDone();
}

MMeshPoint* MMeshTetrahedronIterator::GetPoint(char v) {
    MMeshElement const& e = CurrentElement(*this);
    return e.GetNode(Descriptor::GetOffsetForTetra(
        e.GetNodeCount(), static_cast<unsigned char>(m_tetrahedron), static_cast<unsigned char>(v)));
}

void MMeshTetrahedronIterator::GetTriangle(MMeshPoint** const out, char f) {
    MMeshElement const& e = CurrentElement(*this);
    for (unsigned char i = 0; i < 3; ++i)
        out[i] = e.GetNode(Descriptor::GetOffsetForTriangle(
            e.GetNodeCount(), static_cast<unsigned char>(m_tetrahedron), static_cast<unsigned char>(f), i));
}

// MMeshSuperTetrahedronIterator

MMeshSuperTetrahedronIterator* MMeshSuperTetrahedronIterator::Clone(void* storage) const {
    return CloneAs<MMeshSuperTetrahedronIterator>(storage);
}

MMeshSuperTetrahedronIterator& MMeshSuperTetrahedronIterator::operator++() {
    m_tetrahedron = Next(m_tetrahedron);
    unsigned char const corners = Descriptor::GetNumSimpleNodes(CurrentElement(*this).GetNodeCount());
    if (m_tetrahedron == static_cast<char>(Descriptor::GetNumTetraOfElement(corners))) {
        m_tetrahedron = 0;
        ++*GetElementIt();
    }
    return *this;
}

MMeshPoint* MMeshSuperTetrahedronIterator::GetPoint(char v) {
    MMeshElement const& e = CurrentElement(*this);
    return e.GetNode(Descriptor::GetOffsetForTetra(Descriptor::GetNumSimpleNodes(e.GetNodeCount()),
                                                   static_cast<unsigned char>(m_tetrahedron),
                                                   static_cast<unsigned char>(v)));
}

void MMeshSuperTetrahedronIterator::GetTriangle(MMeshPoint** const out, char f) {
    for (unsigned char i = 0; i < 3; ++i)
        out[i] = MMeshSuperTetrahedronIterator::GetPoint(
            static_cast<char>(Descriptor::GetOffsetForTriangleInTetra(static_cast<unsigned char>(f), i)));
}

// MMeshOnElementTetraIterator

MMeshOnElementTetraIterator* MMeshOnElementTetraIterator::Clone(void* storage) const {
    return CloneAs<MMeshOnElementTetraIterator>(storage);
}

MMeshOnElementTetraIterator& MMeshOnElementTetraIterator::operator++() {
    m_tetrahedron = Next(m_tetrahedron);
    return *this;
}

void MMeshOnElementTetraIterator::First() {
    m_tetrahedron = 0;
}

bool MMeshOnElementTetraIterator::IsDone() {
    return GetElementIt()->IsDone() ||
           m_tetrahedron >=
               static_cast<char>(Descriptor::GetNumTetraOfElement(CurrentElement(*this).GetNodeCount()));
}

// MMeshTriangleIterator

MMeshTriangleIterator::~MMeshTriangleIterator() = default;

std::size_t MMeshTriangleIterator::GetCloneSize() const {
    return AlignedSize(sizeof(MMeshTriangleIterator)) + m_tetra_it->GetCloneSize();
}

template <typename T>
T* MMeshTriangleIterator::CloneAs(void* storage) const {
    static_assert(sizeof(T) == sizeof(MMeshTriangleIterator), "GetCloneSize counts on it");
    T const& self = static_cast<T const&>(*this);
    T* const copy = storage ? new (storage) T(self) : new T(self);
    copy->m_tetra_it.Separate(Behind<T>(storage));
    return copy;
}

MMeshTriangleIterator* MMeshTriangleIterator::Clone(void* storage) const {
    return CloneAs<MMeshTriangleIterator>(storage);
}

MMeshTriangleIterator& MMeshTriangleIterator::operator++() {
    m_triangle = Next(m_triangle);
    if (m_triangle > 3) {
        m_triangle = 0;
        ++*m_tetra_it;
    }
    return *this;
}

void MMeshTriangleIterator::First() {
    m_tetra_it->First();
}

bool MMeshTriangleIterator::IsDone() {
    return m_tetra_it->IsDone();
}

MMeshPoint* MMeshTriangleIterator::GetPoint(char v) {
    return m_tetra_it->GetPoint(static_cast<char>(Descriptor::GetOffsetForTriangleInTetra(
        static_cast<unsigned char>(m_triangle), static_cast<unsigned char>(v))));
}

void MMeshTriangleIterator::GetTriangle(MMeshPoint** const out) const {
    m_tetra_it->GetTriangle(out, m_triangle);
}

// MMeshOnTetraTriangleIterator

MMeshOnTetraTriangleIterator* MMeshOnTetraTriangleIterator::Clone(void* storage) const {
    return CloneAs<MMeshOnTetraTriangleIterator>(storage);
}

MMeshOnTetraTriangleIterator& MMeshOnTetraTriangleIterator::operator++() {
    m_triangle = Next(m_triangle);
    return *this;
}

void MMeshOnTetraTriangleIterator::First() {
    m_triangle = 0;
}

bool MMeshOnTetraTriangleIterator::IsDone() {
    return m_triangle >= 4 || GetTetraIt()->GetElementIt()->IsDone();
}
