// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>
#include <KetSDK/Mesh/mesh/MeshElementsIterator.h>

#include <cstddef>
#include <utility>

// Iterators that present a mesh, one element or one tetrahedron as a stream of tetrahedra or triangles,
// whatever the kinds of its elements. They work on top of an element iterator that the caller keeps.
// Elements must be of a known kind (4, 6, 8 or 10 nodes). An iterator is used by one thread at a time.
//
// A copy shares the element iterator of its source and never frees it; what Clone and the postfix ++
// return has an element iterator of its own.

namespace KetSDK::Mesh::Detail {

// The iterator on top of which another one works: the caller's, or one of its own. A copy borrows it
// from its source; moving hands on what lies on the heap.
template <typename Iterator>
class IteratorBelow {
public:
    IteratorBelow(Iterator* it) noexcept
        : m_it(it) {}
    IteratorBelow(IteratorBelow const& other) noexcept
        : m_it(other.m_it) {}
    IteratorBelow(IteratorBelow&& other) noexcept
        : m_it(other.m_it) {
        TakeOver(other);
    }
    IteratorBelow& operator=(IteratorBelow const& other) noexcept {
        if (this != &other)
            Replace(other.m_it, Ownership::Borrowed);
        return *this;
    }
    IteratorBelow& operator=(IteratorBelow&& other) noexcept {
        if (this != &other) {
            Replace(other.m_it, Ownership::Borrowed);
            TakeOver(other);
        }
        return *this;
    }
    ~IteratorBelow() { Replace(nullptr, Ownership::Borrowed); }

    Iterator* Get() const noexcept { return m_it; }
    Iterator& operator*() const noexcept { return *m_it; }
    Iterator* operator->() const noexcept { return m_it; }

    // Puts a copy in place of the iterator: in `storage`, or on the heap when null.
    void Separate(void* storage) {
        if (storage)
            Replace(m_it->Clone(storage), Ownership::InPlace);
        else if constexpr (requires(Iterator const& it) { it.GetElementIt(); })
            Replace(m_it->Clone(nullptr), Ownership::Heap);
        else // an element iterator clones itself into storage only
            Replace(new Iterator(*m_it), Ownership::Heap);
    }

private:
    enum class Ownership : unsigned char { Borrowed, Heap, InPlace };

    void Replace(Iterator* it, Ownership owns) noexcept {
        if (m_owns == Ownership::Heap)
            delete m_it;
        else if (m_owns == Ownership::InPlace)
            m_it->~Iterator();
        m_it = it;
        m_owns = owns;
    }
    // A block that the other shares with its iterator cannot change hands.
    void TakeOver(IteratorBelow& other) noexcept {
        if (other.m_owns == Ownership::Heap)
            m_owns = std::exchange(other.m_owns, Ownership::Borrowed);
    }

    Iterator* m_it;
    Ownership m_owns = Ownership::Borrowed;
};

} // namespace KetSDK::Mesh::Detail

// Every tetrahedron of every element.
class KETSDK_MESH_API MMeshTetrahedronIterator {
public:
    using ElementIterator = KetSDK::Mesh::Detail::MeshElementsIterator<0>;

    // From the first (or the given) tetrahedron of the current element of `it`, which stays the caller's.
    MMeshTetrahedronIterator(ElementIterator* it) noexcept
        : MMeshTetrahedronIterator(it, 0) {}
    MMeshTetrahedronIterator(ElementIterator* it, char first) noexcept
        : m_tetrahedron(first)
        , m_element_it(it) {}
    MMeshTetrahedronIterator(MMeshTetrahedronIterator const&) noexcept = default;
    MMeshTetrahedronIterator(MMeshTetrahedronIterator&&) noexcept = default;
    MMeshTetrahedronIterator& operator=(MMeshTetrahedronIterator const&) noexcept = default;
    MMeshTetrahedronIterator& operator=(MMeshTetrahedronIterator&&) noexcept = default;

    // Room that Clone needs, the element iterator included.
    virtual std::size_t GetCloneSize() const;
    // An independent copy: built in `storage` (aligned for any object, GetCloneSize() bytes; the caller calls
    // its destructor and frees the block). With null it is built on the heap, and the caller deletes it.
    virtual MMeshTetrahedronIterator* Clone(void* storage) const;
    virtual ~MMeshTetrahedronIterator();
    virtual MMeshTetrahedronIterator& operator++();
    // The state before advancing, with an element iterator of its own.
    MMeshTetrahedronIterator operator++(int) { return Postfix(*this); }
    virtual void First();
    virtual bool IsDone();
    // Vertex 0..3 of the current tetrahedron.
    virtual MMeshPoint* GetPoint(char v);
    // The three nodes of face 0..3 of the current tetrahedron, wound as descr_triangle_point has them.
    virtual void GetTriangle(MMeshPoint** const out, char f);

    ElementIterator* GetElementIt() const noexcept { return m_element_it.Get(); }
    char GetCurrentTetrahedron() const noexcept { return m_tetrahedron; }

    // Same tetrahedron of the same element in the same container.
    bool operator==(MMeshTetrahedronIterator const& o) const noexcept {
        return m_tetrahedron == o.m_tetrahedron && *m_element_it == *o.m_element_it;
    }

protected:
    // Clone of this object as the most derived class T.
    template <typename T>
    T* CloneAs(void* storage) const;
    // Advances an iterator of the family; its state before, with an element iterator of its own.
    template <typename T>
    static T Postfix(T& it) {
        T prior(it);
        static_cast<MMeshTetrahedronIterator&>(prior).m_element_it.Separate(nullptr);
        ++it;
        return prior;
    }

    char m_tetrahedron;

private:
    KetSDK::Mesh::Detail::IteratorBelow<ElementIterator> m_element_it;
};

// As MMeshTetrahedronIterator, but a ten-node element counts as its one corner tetrahedron.
class KETSDK_MESH_API MMeshSuperTetrahedronIterator : public MMeshTetrahedronIterator {
public:
    MMeshSuperTetrahedronIterator(ElementIterator* it) noexcept
        : MMeshTetrahedronIterator(it) {}
    MMeshSuperTetrahedronIterator* Clone(void* storage) const override;
    MMeshSuperTetrahedronIterator& operator++() override;
    MMeshSuperTetrahedronIterator operator++(int) { return Postfix(*this); }
    MMeshPoint* GetPoint(char v) override;
    void GetTriangle(MMeshPoint** const out, char f) override;
};

// The tetrahedra of the current element only; the element iterator is never moved.
class KETSDK_MESH_API MMeshOnElementTetraIterator : public MMeshTetrahedronIterator {
public:
    MMeshOnElementTetraIterator(ElementIterator* it) noexcept
        : MMeshTetrahedronIterator(it) {}
    MMeshOnElementTetraIterator* Clone(void* storage) const override;
    MMeshOnElementTetraIterator& operator++() override;
    MMeshOnElementTetraIterator operator++(int) { return Postfix(*this); }
    void First() override;
    bool IsDone() override;
};

// The four faces of every tetrahedron that a tetrahedron iterator gives. A face between two tetrahedra
// is met once from each side.
class KETSDK_MESH_API MMeshTriangleIterator {
public:
    // From face 0 (or the given one) of the current tetrahedron of `it`, which stays the caller's.
    MMeshTriangleIterator(MMeshTetrahedronIterator* it) noexcept
        : MMeshTriangleIterator(it, 0) {}
    MMeshTriangleIterator(MMeshTetrahedronIterator* it, char first) noexcept
        : m_triangle(first)
        , m_tetra_it(it) {}
    MMeshTriangleIterator(MMeshTriangleIterator const&) noexcept = default;
    MMeshTriangleIterator(MMeshTriangleIterator&&) noexcept = default;
    MMeshTriangleIterator& operator=(MMeshTriangleIterator const&) noexcept = default;
    MMeshTriangleIterator& operator=(MMeshTriangleIterator&&) noexcept = default;

    virtual std::size_t GetCloneSize() const;
    virtual MMeshTriangleIterator* Clone(void* storage) const;
    virtual ~MMeshTriangleIterator();
    virtual MMeshTriangleIterator& operator++();
    MMeshTriangleIterator operator++(int) { return Postfix(*this); }
    // Back to the first tetrahedron. The current face is kept, unlike in every other iterator: callers
    // that want face 0 start a new iterator.
    virtual void First();
    virtual bool IsDone();
    // Vertex 0..2 of the current triangle.
    virtual MMeshPoint* GetPoint(char v);
    // The three nodes of the current triangle.
    virtual void GetTriangle(MMeshPoint** const out) const;

    MMeshTetrahedronIterator* GetTetraIt() const noexcept { return m_tetra_it.Get(); }
    char GetCurrentTriangle() const noexcept { return m_triangle; }

    bool operator==(MMeshTriangleIterator const& o) const noexcept {
        return m_triangle == o.m_triangle && *m_tetra_it == *o.m_tetra_it;
    }

protected:
    template <typename T>
    T* CloneAs(void* storage) const;
    template <typename T>
    static T Postfix(T& it) {
        T prior(it);
        static_cast<MMeshTriangleIterator&>(prior).m_tetra_it.Separate(nullptr);
        ++it;
        return prior;
    }

    char m_triangle;

private:
    KetSDK::Mesh::Detail::IteratorBelow<MMeshTetrahedronIterator> m_tetra_it;
};

// The four faces of the current tetrahedron only; the tetrahedron iterator is never moved.
class KETSDK_MESH_API MMeshOnTetraTriangleIterator : public MMeshTriangleIterator {
public:
    MMeshOnTetraTriangleIterator(MMeshTetrahedronIterator* it) noexcept
        : MMeshTriangleIterator(it) {}
    MMeshOnTetraTriangleIterator* Clone(void* storage) const override;
    MMeshOnTetraTriangleIterator& operator++() override;
    MMeshOnTetraTriangleIterator operator++(int) { return Postfix(*this); }
    void First() override;
    bool IsDone() override;
};
