#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapper.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <span>
#include <utility>
#include <vector>

class MMeshBase;
class MMeshPoint;
class MStlBase;

namespace KetSDK::Common {
class BaseProgressReporter;
}

namespace KetSDK::Mesh::Detail {

// What the mappers have in common: they find the faces that a triangle may lie on, hand each face once to
// a matcher, and answer from what it found. They differ in how faces and triangles are matched.
//
// Faces are those of elements of four and ten nodes (the corner nodes count), at the boundary of the
// mesh and between elements; other elements have none here. Which side of a face is outside follows
// from the winding of the first of its elements, as in surface extraction.
class KETSDK_MESH_API MeshFaceMapper : public MMeshCorrespondenceMapper {
public:
    // Whether mapping uses several threads, as many as the task arena of the caller has; false unless set.
    // What is found is the same.
    void SetParallel(bool parallel) noexcept { m_parallel = parallel; }
    bool GetParallel() const noexcept { return m_parallel; }

    // What the user can cancel mapping by; null for none.
    void SetProgressDelegate(std::shared_ptr<Common::IProgressDelegate> delegate) {
        m_delegate = std::move(delegate);
    }

    // Without a mesh or a surface, or with an empty one, no face has a triangle. When the user cancels, no
    // face has one either, and the next question maps again.
    void Map() override;
    bool IsMapped() const override { return m_mapped; }

    MStlTriangle* GetTriangle(MMeshElement* e, unsigned int face) override;
    MStlTriangle* GetSharedTriangle(MMeshElement* e1, MMeshElement* e2) override;
    MMeshElement* GetElement(MStlTriangle const* triangle) override;
    bool IsAssignedTo(MStlTriangle const* triangle, MMeshElement* e) override;
    int IsBoundaryCrossing(MMeshElement* e1, MMeshElement* e2) override;
    // Whether some face of an element has a triangle, for walks over the mesh that ask no further where
    // none has.
    bool HasTriangle(MMeshElement const& e) {
        _MapOnce();
        return _FacesOf(e) != nullptr;
    }

    static constexpr std::uint32_t None = std::numeric_limits<std::uint32_t>::max();

    // A face of the mesh.
    struct Face {
        std::array<MMeshPoint const*, 3> corners; // winding out of its first element
        bool exterior;                            // no other element has it
    };
    // The triangles on a face, as numbers: the one that winds as the face does, and the one that winds
    // the other way. Mostly there is one of them at most.
    struct Match {
        std::uint32_t same = None;
        std::uint32_t opposite = None;
    };

    // Calls work(first, last) for blocks that make up 0 to count - 1, in any order and, in parallel, at the
    // same time. Throws what Map() catches when the user has cancelled, which the thread that made the loop
    // looks at after each of its blocks.
    class Loop {
    public:
        // The reporter outlives the loop; without one nobody can cancel.
        explicit Loop(bool parallel, Common::BaseProgressReporter const* reporter = nullptr) noexcept
            : m_parallel(parallel)
            , m_reporter(reporter) {}
        void operator()(std::size_t count, std::size_t block,
                        std::function<void(std::size_t, std::size_t)> const& work) const;
        bool IsParallel() const noexcept { return m_parallel; }

    private:
        bool m_parallel;
        Common::BaseProgressReporter const* m_reporter;
    };

    // Knows the triangles of the surface. Made anew for each mapping.
    class Matcher {
    public:
        virtual ~Matcher();
        // Whether a triangle may have a corner at the node: faces with other corners are left out. Called
        // from several threads.
        virtual bool IsNear(MMeshPoint const& node) const = 0;
        // The match of each face, in order.
        virtual std::vector<Match> FindMatches(std::span<Face const> faces, Loop const& loop) const = 0;
    };

protected:
    // Neither is owned.
    MeshFaceMapper(MStlBase* stl, MMeshBase* mesh) noexcept
        : m_stl(stl)
        , m_mesh(mesh) {}

private:
    struct Faces;
    // What lies on the faces of an element.
    struct ElementFaces {
        std::array<MStlTriangle*, 4> triangle{};
        std::array<bool, 4> assigned{}; // whether the triangle is assigned to the element
    };

    virtual std::unique_ptr<Matcher> _MakeMatcher(MStlBase& stl) const = 0;

    void _Forget() noexcept;
    void _Run();
    void _Commit(Faces const& faces, std::vector<Match> const& matches, Loop const& loop);
    void _Enter(std::uint32_t element, unsigned int face, Match const& match, bool alone);
    void _MapOnce() {
        if (!m_mapped)
            Map();
    }
    ElementFaces const* _FacesOf(MMeshElement const& e) const noexcept;

    MStlBase* m_stl;
    MMeshBase* m_mesh;
    std::shared_ptr<Common::IProgressDelegate> m_delegate;
    bool m_parallel = false;
    bool m_mapped = false;
    std::vector<std::uint32_t> m_place; // by mask index of the element: its place below, or None
    std::vector<ElementFaces> m_faces;  // of the elements with a triangle
    // By address of the triangle: the number of the element that it is assigned to.
    std::vector<std::pair<MStlTriangle const*, std::uint32_t>> m_element_of;
};

} // namespace KetSDK::Mesh::Detail
