#include <host/MarkedFaces.h>

#include <KetSDK/Mesh/mesh/MMeshElementIterators.h>
#include <KetSDK/Mesh/operators/detail/ElementFaces.h>
#include <KetSDK/Mesh/operators/detail/SubVolumeIDs.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>

namespace ketmesh {

namespace {

using namespace KetSDK::Mesh::Detail;

// Corners by ascending index; a triangle begins with -1. By node, so that faces which only lie at one place
// stay apart.
using Corners = std::array<MLong, 4>;

// A marked triangle, with its corners and those of the element's face on which it lies: the neighbour across
// a quadrilateral may be cut along the other diagonal.
struct Kept {
    MStlTriangle const* triangle;
    int sub_volume;
    std::array<Corners, 2> corners;
};

Corners CornersOf(MMeshTriangleIterator& triangle) {
    Corners corners{-1, triangle.GetPoint(0)->GetIndex(), triangle.GetPoint(1)->GetIndex(),
                    triangle.GetPoint(2)->GetIndex()};
    std::ranges::sort(corners);
    return corners;
}

Corners FaceOf(MMeshTriangleIterator& triangle, bool simplify) {
    MMeshElement const& e = **triangle.GetTetraIt()->GetElementIt();
    unsigned char const n = e.GetNodeCount();
    auto const tetrahedron = static_cast<unsigned char>(triangle.GetTetraIt()->GetCurrentTetrahedron());
    auto const face = static_cast<unsigned char>(triangle.GetCurrentTriangle());
    NodeBits const nodes = NodesOfTriangle(simplify && n == 10 ? 4 : n, tetrahedron, face);
    for (ElementFace const& whole : FacesOfElement(n))
        if (n != 10 && (nodes & ~NodesOnFace(n, whole)) == 0) {
            Corners corners{-1, -1, -1, -1};
            for (unsigned int i = 0; i < whole.corners; ++i)
                corners[i] = e.GetNode(whole.node[i])->GetIndex();
            std::ranges::sort(corners);
            return corners;
        }
    return CornersOf(triangle);
}

bool HasArea(MMeshTriangleIterator& triangle) {
    auto const position = [&triangle](char corner) {
        MMeshPoint const& p = *triangle.GetPoint(corner);
        return std::array<MLong, 3>{p.x, p.y, p.z};
    };
    auto const a = position(0);
    auto const b = position(1);
    auto const c = position(2);
    return a != b && b != c && c != a;
}

// Whether the triangle where the iterator stands belongs to a marked face of its element.
bool IsMarked(MMeshSurfaceTriangleList const& marks, MMeshTriangleIterator const& triangle, bool simplify) {
    auto const tetrahedron = static_cast<unsigned char>(triangle.GetTetraIt()->GetCurrentTetrahedron());
    auto const face = static_cast<unsigned char>(triangle.GetCurrentTriangle());
    unsigned char const n = (*triangle.GetTetraIt()->GetElementIt())->GetNodeCount();
    if (n != 10 || !simplify)
        return std::ranges::find(marks, MMeshSurfaceTriangleList::Face{tetrahedron, face}) != marks.end();
    // A face of the corner tetrahedron stands for the four triangles that lie on it.
    NodeBits const corners = NodesOfTriangle(4, tetrahedron, face);
    for (ElementFace const& whole : FacesOfElement(n))
        if (NodeBits const nodes = NodesOnFace(n, whole); (corners & ~nodes) == 0)
            return std::ranges::any_of(marks, [n, nodes](MMeshSurfaceTriangleList::Face const& mark) {
                return (NodesOfTriangle(n, mark.tetrahedron, mark.triangle) & ~nodes) == 0;
            });
    return false;
}

void Copy(MStlTriangle const& triangle, MStlBase& stl) {
    MStlPoint* corners[3];
    for (std::size_t i = 0; i < 3; ++i) {
        MStlPoint const& p = *triangle.GetPoint(i);
        corners[i] = stl.AddPoint(p.GetX(), p.GetY(), p.GetZ(), false);
    }
    stl.AddTriangle(corners[0], corners[1], corners[2], stl.GetSurface(0))->SetColor(triangle.GetColor());
}

} // namespace

MarkedElements::MarkedElements(MMeshBase const& mesh)
    : m_marks(*mesh.GetElementMasks()->GetSurfaceMask())
    , m_copies(std::make_unique<MMeshBase>()) {
    m_copies->CopyMetadata(mesh);
    SubVolumeIDs const ids(mesh);
    std::vector<MMeshPoint*> copy_of(static_cast<std::size_t>(mesh.NumberOfPoints()), nullptr);
    std::vector<MMeshPoint*> nodes;
    for (MMeshElement const& e : mesh.Elements()) {
        if (m_marks.GetValue(e).IsEmpty())
            continue;
        nodes.clear();
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i) {
            MMeshPoint const& node = *e.GetNode(i);
            MMeshPoint*& copy = copy_of[static_cast<std::size_t>(node.GetIndex())];
            if (!copy)
                copy = m_copies->AddPoint(node.x, node.y, node.z);
            nodes.push_back(copy);
        }
        MMeshElement const& copy = *m_copies->AddElement(static_cast<char>(nodes.size()), nodes.data());
        if (mesh.GetElementMasks()->HasMaterialMask())
            m_copies->GetElementMasks()->GetMaterialMask()->SetValue(
                copy, mesh.GetElementMasks()->GetMaterialMask()->GetValue(e));
        m_elements.push_back(&e);
        m_sub_volumes.push_back(ids(e));
    }
}

void MarkedElements::CopyMarked(MStlBase const& all, bool simplify, MStlBase& stl) const {
    std::vector<Kept> marked;
    std::map<Corners, int> lowest; // sub-volume at a face, by its corners: a triangle's or the element's own
    std::unique_ptr<MeshElementsIterator<0>> const element(m_copies->CreateBeginElementIter());
    MMeshTetrahedronIterator all_tetrahedra(element.get());
    MMeshSuperTetrahedronIterator corner_tetrahedra(element.get());
    MMeshTetrahedronIterator* const tetrahedra = simplify ? &corner_tetrahedra : &all_tetrahedra;
    std::uint64_t number = 0; // of the triangle that was written for the place of the iterator
    for (MMeshTriangleIterator triangle(tetrahedra); !triangle.IsDone(); ++triangle) {
        if (!HasArea(triangle))
            continue; // and nothing was written
        MStlTriangle const* const written = all.GetTriangle(number++);
        auto const place = static_cast<std::size_t>(element->GetPosition());
        if (!IsMarked(m_marks.GetValue(*m_elements[place]), triangle, simplify))
            continue;
        marked.push_back({written, m_sub_volumes[place], {CornersOf(triangle), FaceOf(triangle, simplify)}});
        for (Corners const& corners : marked.back().corners) {
            int& at = lowest.try_emplace(corners, m_sub_volumes[place]).first->second;
            at = std::min(at, m_sub_volumes[place]);
        }
    }
    if (stl.NumberOfSurfaces() == 0)
        stl.AddSurface(nullptr);
    for (Kept const& kept : marked)
        if (std::ranges::all_of(kept.corners,
                                [&](Corners const& c) { return lowest.at(c) == kept.sub_volume; }))
            Copy(*kept.triangle, stl);
}

} // namespace ketmesh
