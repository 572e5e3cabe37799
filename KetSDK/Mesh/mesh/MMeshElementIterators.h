#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>
#include <KetSDK/Mesh/mesh/MeshElementsIterator.h>

#include <cstddef>

// Iterators that present a mesh, one element or one tetrahedron as a stream of tetrahedra or triangles,
// whatever the kinds of its elements. They work on top of an element iterator that the caller keeps.
// Elements must be of a known kind (4, 6, 8 or 10 nodes). An iterator is used by one thread at a time.
//
// A copy shares the element iterator of its source and never frees it; what Clone and the postfix ++
// return has an element iterator of its own.

namespace KetSDK::Mesh::Detail {

// Who destroys the iterator below: nobody here, delete, or its destructor in place (a clone that was
// built in the caller's storage).
enum class Ownership : unsigned char { Borrowed, Heap, InPlace };

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
    MMeshTetrahedronIterator(MMeshTetrahedronIterator const& other) noexcept;
    MMeshTetrahedronIterator(MMeshTetrahedronIterator&& other) noexcept;
    MMeshTetrahedronIterator& operator=(MMeshTetrahedronIterator const& other) noexcept;
    MMeshTetrahedronIterator& operator=(MMeshTetrahedronIterator&& other) noexcept;

    // Room that Clone needs, the element iterator included.
    virtual std::size_t GetCloneSize() const;
    // An independent copy: built in `storage` (aligned for any object, GetCloneSize() bytes; the caller
    // calls its destructor and frees the block), or on the heap when null (the caller deletes it).
    virtual MMeshTetrahedronIterator* Clone(void* storage) const;
    virtual ~MMeshTetrahedronIterator();
    virtual MMeshTetrahedronIterator& operator++();
    // The state before advancing, with an element iterator of its own.
    MMeshTetrahedronIterator operator++(int) { return _Postfix(*this); }
    virtual void First();
    virtual bool IsDone();
    // Vertex 0..3 of the current tetrahedron.
    virtual MMeshPoint* GetPoint(char v);
    // The three nodes of face 0..3 of the current tetrahedron, wound as descr_triangle_point has them.
    virtual void GetTriangle(MMeshPoint** const out, char f);

    ElementIterator* GetElementIt() const noexcept { return m_element_it; }
    char GetCurrentTetrahedron() const noexcept { return m_tetrahedron; }

    // Same tetrahedron of the same place in the same container.
    bool operator==(MMeshTetrahedronIterator const& o) const noexcept {
        return m_tetrahedron == o.m_tetrahedron && *m_element_it == *o.m_element_it;
    }

protected:
    // Clone of this object as the most derived class T.
    template <typename T>
    T* _CloneAs(void* storage) const;
    // Advances an iterator of the family; its state before, with an element iterator of its own.
    template <typename T>
    static T _Postfix(T& it) {
        T prior(it);
        static_cast<MMeshTetrahedronIterator&>(prior)._OwnElementIt();
        ++it;
        return prior;
    }

    char m_tetrahedron;

private:
    void _ReleaseElementIt() noexcept;
    void _OwnElementIt();

    ElementIterator* m_element_it;
    KetSDK::Mesh::Detail::Ownership m_owns = KetSDK::Mesh::Detail::Ownership::Borrowed;
};

// As MMeshTetrahedronIterator, but a ten-node element counts as its one corner tetrahedron.
class KETSDK_MESH_API MMeshSuperTetrahedronIterator : public MMeshTetrahedronIterator {
public:
    MMeshSuperTetrahedronIterator(ElementIterator* it) noexcept
        : MMeshTetrahedronIterator(it) {}
    MMeshSuperTetrahedronIterator* Clone(void* storage) const override;
    MMeshSuperTetrahedronIterator& operator++() override;
    MMeshSuperTetrahedronIterator operator++(int) { return _Postfix(*this); }
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
    MMeshOnElementTetraIterator operator++(int) { return _Postfix(*this); }
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
    MMeshTriangleIterator(MMeshTriangleIterator const& other) noexcept;
    MMeshTriangleIterator(MMeshTriangleIterator&& other) noexcept;
    MMeshTriangleIterator& operator=(MMeshTriangleIterator const& other) noexcept;
    MMeshTriangleIterator& operator=(MMeshTriangleIterator&& other) noexcept;

    virtual std::size_t GetCloneSize() const;
    virtual MMeshTriangleIterator* Clone(void* storage) const;
    virtual ~MMeshTriangleIterator();
    virtual MMeshTriangleIterator& operator++();
    MMeshTriangleIterator operator++(int) { return _Postfix(*this); }
    // Back to the first tetrahedron. The current face is kept, unlike in every other iterator: callers
    // that want face 0 start a new iterator.
    virtual void First();
    virtual bool IsDone();
    // Vertex 0..2 of the current triangle.
    virtual MMeshPoint* GetPoint(char v);
    // The three nodes of the current triangle.
    virtual void GetTriangle(MMeshPoint** const out) const;

    MMeshTetrahedronIterator* GetTetraIt() const noexcept { return m_tetra_it; }
    char GetCurrentTriangle() const noexcept { return m_triangle; }

    bool operator==(MMeshTriangleIterator const& o) const noexcept {
        return m_triangle == o.m_triangle && *m_tetra_it == *o.m_tetra_it;
    }

protected:
    template <typename T>
    T* _CloneAs(void* storage) const;
    template <typename T>
    static T _Postfix(T& it) {
        T prior(it);
        static_cast<MMeshTriangleIterator&>(prior)._OwnTetraIt();
        ++it;
        return prior;
    }

    char m_triangle;

private:
    void _ReleaseTetraIt() noexcept;
    void _OwnTetraIt();

    MMeshTetrahedronIterator* m_tetra_it;
    KetSDK::Mesh::Detail::Ownership m_owns = KetSDK::Mesh::Detail::Ownership::Borrowed;
};

// The four faces of the current tetrahedron only; the tetrahedron iterator is never moved.
class KETSDK_MESH_API MMeshOnTetraTriangleIterator : public MMeshTriangleIterator {
public:
    MMeshOnTetraTriangleIterator(MMeshTetrahedronIterator* it) noexcept
        : MMeshTriangleIterator(it) {}
    MMeshOnTetraTriangleIterator* Clone(void* storage) const override;
    MMeshOnTetraTriangleIterator& operator++() override;
    MMeshOnTetraTriangleIterator operator++(int) { return _Postfix(*this); }
    void First() override;
    bool IsDone() override;
};
