#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <memory>
#include <vector>

class MStlBase;

namespace ketmesh {

// The elements of a mesh that have faces in the surface mask, as a small mesh of their own, so that the faces
// inside a large one need not be built to be thrown away.
class MarkedElements {
public:
    // The mesh is kept by the caller.
    explicit MarkedElements(MMeshBase const& mesh);

    // Copies of the elements in their order, with their materials, all in one sub-volume.
    MMeshBase& GetMesh() const noexcept { return *m_copies; }

    // Given what MMeshOperatorSTL wrote of that mesh, with or without simplifying, copies the triangles that
    // belong to marked faces, with their colours, to the first surface of `stl`. A face that is marked in two
    // elements, which are of different sub-volumes then, is taken from the one of the lower number.
    void CopyMarked(MStlBase const& all, bool simplify, MStlBase& stl) const;

private:
    std::vector<MMeshElement const*> m_elements;
    std::vector<int> m_sub_volumes; // the identifier of each one's sub-volume
    MDataMask<MMeshElement, MMeshSurfaceTriangleList> const& m_marks;
    std::unique_ptr<MMeshBase> m_copies;
};

} // namespace ketmesh
