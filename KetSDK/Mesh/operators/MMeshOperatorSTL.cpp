// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshOperatorSTL.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSTL.h>
#include <KetSDK/Mesh/operators/detail/ElementFaces.h>
#include <KetSDK/Mesh/operators/detail/SubVolumeIDs.h>
#include <KetSDK/Mesh/operators/detail/SurfaceRecord.h>
#include <KetSDK/Support/MHash.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <tsl/robin_map.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>

using namespace KetSDK::Mesh::Detail;

namespace {

// The display colour of each element's material.
class MaterialColors {
public:
    explicit MaterialColors(MMeshBase const& mesh)
        : m_catalog(mesh.GetMaterialCatalog())
        , m_ids(*mesh.GetElementMasks()->GetMaterialMask()) {}

    // Undefined for an element whose material is not in the catalog.
    MStlColor Of(MMeshElement const& e) {
        // Triangles of one element, and mostly elements too, follow one another with the same material.
        if (auto const id = static_cast<unsigned int>(m_ids.GetValue(e)); !m_is_known || id != m_id) {
            MMeshMaterial const* const material = m_catalog.GetMaterialWithID(id);
            m_color = MStlColor();
            if (material)
                m_color.SetRGB(material->GetColor());
            m_id = id;
            m_is_known = true;
        }
        return m_color;
    }

private:
    MMaterialCatalog const& m_catalog;
    MDataMask<MMeshElement, int> const& m_ids;
    bool m_is_known = false;
    unsigned int m_id = 0; // the last one asked for, and its colour
    MStlColor m_color;
};

// A face of a sub-tetrahedron of an element, by the indices of its corners in the node array.
struct Triangle {
    std::array<unsigned char, 3> node;
    unsigned char tetrahedron;
    unsigned char face;

    NodeBits Nodes() const noexcept { return 1U << node[0] | 1U << node[1] | 1U << node[2]; }
};

// Calls visit(triangle) for each face of each tetrahedron that an element is cut into, or that its corners
// make.
template <typename Visit>
void ForEachTriangle(MMeshElement const& e, bool simplify, Visit const& visit) {
    unsigned char const count = e.GetNodeCount();
    unsigned char const n = simplify ? MMeshElementDescriptor::GetNumSimpleNodes(count) : count;
    unsigned char const tetrahedra = MMeshElementDescriptor::GetNumTetraOfElement(n);
    for (unsigned char t = 0; t < tetrahedra; ++t)
        for (unsigned char f = 0; f < 4; ++f) {
            Triangle triangle{{}, t, f};
            for (unsigned char i = 0; i < 3; ++i)
                triangle.node[i] = MMeshElementDescriptor::GetOffsetForTriangle(n, t, f, i);
            visit(triangle);
        }
}

using Position = std::array<MLong, 3>;

Position PositionOf(MMeshElement const& e, unsigned char node) {
    MMeshPoint const& p = *e.GetNode(node);
    return {p.x, p.y, p.z};
}

bool HasArea(MMeshElement const& e, Triangle const& triangle) {
    Position const a = PositionOf(e, triangle.node[0]);
    Position const b = PositionOf(e, triangle.node[1]);
    Position const c = PositionOf(e, triangle.node[2]);
    return a != b && b != c && c != a;
}

class TriangleWriter {
public:
    TriangleWriter(MMeshBase const& mesh, MStlBase& stl, MSurfaceOrigins* origins)
        : m_surface(*stl.AddSurface(nullptr))
        , m_record(origins, stl) {
        if (mesh.GetMaterialCatalog().NumberOfMaterials() > 0)
            m_colors.emplace(mesh);
    }

    void Write(MMeshElement const& e, std::uint64_t index, Triangle const& triangle) {
        Position const a = PositionOf(e, triangle.node[0]);
        Position const b = PositionOf(e, triangle.node[1]);
        Position const c = PositionOf(e, triangle.node[2]);
        auto* const added = m_surface.AddTriangle(a.data(), b.data(), c.data());
        if (!added)
            return;
        if (m_colors)
            added->SetColor(m_colors->Of(e));
        m_record.AddTriangle(static_cast<MLong>(index), e.GetNodeCount(), triangle.Nodes());
        for (std::size_t i = 0; i < 3; ++i)
            m_record.AddPoint(*added->GetPoint(i), e.GetNode(triangle.node[i])->GetIndex());
    }
    // To be called after the last triangle.
    void Finish() { m_record.Finish(); }

private:
    MStlSurface& m_surface;
    SurfaceRecord m_record;
    std::optional<MaterialColors> m_colors;
};

using Marks = MDataMask<MMeshElement, MMeshSurfaceTriangleList>;

bool IsMarked(MMeshSurfaceTriangleList const& marks, unsigned char n, Triangle const& triangle,
              bool simplify) {
    if (n != 10 || !simplify)
        return std::ranges::find(
                   marks, MMeshSurfaceTriangleList::Face{triangle.tetrahedron, triangle.face}) != marks.end();
    // A face of the corner tetrahedron stands for the four triangles that lie on it.
    int const face = SolverFaceOf(n, triangle.Nodes());
    return std::ranges::any_of(marks, [n, face](MMeshSurfaceTriangleList::Face const& mark) {
        return SolverFaceOf(n, NodesOfTriangle(n, mark.tetrahedron, mark.triangle)) == face;
    });
}

// Corners by ascending index; a triangle begins with -1. By node, so that faces which only lie at one
// position stay apart.
using Corners = std::array<MLong, 4>;

template <typename Indices>
Corners CornersAt(MMeshElement const& e, Indices const& indices) {
    Corners corners{-1, -1, -1, -1};
    std::ranges::transform(indices, corners.begin(),
                           [&e](unsigned char index) { return e.GetNode(index)->GetIndex(); });
    std::ranges::sort(corners);
    return corners;
}

struct CornersHash {
    std::size_t operator()(Corners const& c) const noexcept {
        auto const pair = [](MLong a, MLong b) {
            return KetSDK::Support::HashOfPair(static_cast<std::uint64_t>(a), static_cast<std::uint64_t>(b));
        };
        return static_cast<std::size_t>(KetSDK::Support::HashOfPair(pair(c[0], c[1]), pair(c[2], c[3])));
    }
};

// The triangles on marked faces.
class MarkedTriangles {
public:
    MarkedTriangles(MMeshBase const& mesh, Marks const& marks, bool simplify)
        : m_mesh(mesh) {
        SubVolumeIDs const ids(mesh);
        std::uint64_t index = 0;
        for (MMeshElement const& e : mesh.Elements()) {
            if (MMeshSurfaceTriangleList const& of_element = marks.GetValue(e); !of_element.IsEmpty())
                ForEachTriangle(e, simplify, [&](Triangle const& triangle) {
                    if (HasArea(e, triangle) && IsMarked(of_element, e.GetNodeCount(), triangle, simplify))
                        Add(e, {index, triangle, ids(e)});
                });
            ++index;
        }
    }

    void Write(TriangleWriter& writer) const {
        for (Marked const& marked : m_marked) {
            MMeshElement const& e = *m_mesh.GetElement(marked.element);
            if (IsSeenFrom(e, marked))
                writer.Write(e, marked.element, marked.triangle);
        }
    }

private:
    struct Marked {
        std::uint64_t element;
        Triangle triangle;
        int sub_volume;
    };

    // The corners of the triangle and those of the element's face on which it lies: the neighbour across a
    // quadrilateral may be cut along the other diagonal. Twice the same where the face is the triangle, or
    // where ten-node elements match by the parts of their faces.
    static std::array<Corners, 2> KeysOf(MMeshElement const& e, Triangle const& triangle) {
        Corners const own = CornersAt(e, triangle.node);
        unsigned char const n = e.GetNodeCount();
        int const number = n == 10 ? 0 : SolverFaceOf(n, triangle.Nodes());
        if (number == 0)
            return {own, own};
        MMeshSolverFace const& face = MMeshSolverFacesOf(n)[static_cast<std::size_t>(number - 1)];
        return {own, CornersAt(e, std::span(face.node, face.corners))};
    }

    void Add(MMeshElement const& e, Marked const& marked) {
        m_marked.push_back(marked);
        for (Corners const& key : KeysOf(e, marked.triangle)) {
            auto const lowest = m_lowest.try_emplace(key, marked.sub_volume).first;
            lowest.value() = std::min(lowest.value(), marked.sub_volume);
        }
    }

    bool IsSeenFrom(MMeshElement const& e, Marked const& marked) const {
        return std::ranges::all_of(KeysOf(e, marked.triangle),
                                   [&](Corners const& key) { return m_lowest.at(key) == marked.sub_volume; });
    }

    MMeshBase const& m_mesh;
    std::vector<Marked> m_marked;
    tsl::robin_map<Corners, int, CornersHash> m_lowest; // sub-volume at a face
};

} // namespace

MMeshOperatorSTL::~MMeshOperatorSTL() = default;

bool MMeshOperatorSTL::Operate() {
    auto const* const settings = dynamic_cast<MMeshOperatorSettingsSTL const*>(GetSettings());
    if (!GetMesh() || !m_stl || !settings)
        return false;
    MMeshBase const& mesh = *GetMesh();
    Marks const* const marks = std::as_const(*mesh.GetElementMasks()).GetSurfaceMask();
    if (settings->GetMarkedOnly() && !marks)
        return false;
    m_stl->ClearStl(true);
    m_stl->SetKeepNeighbourInfo(false);
    TriangleWriter writer(mesh, *m_stl, m_origins);
    if (settings->GetMarkedOnly())
        MarkedTriangles(mesh, *marks, settings->GetSimplify()).Write(writer);
    else
        mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t index) {
            ForEachTriangle(e, settings->GetSimplify(),
                            [&](Triangle const& triangle) { writer.Write(e, index, triangle); });
        });
    writer.Finish();
    m_stl->SetKeepNeighbourInfo(true);
    return true;
}
