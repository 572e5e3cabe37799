// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>

#include <KetSDK/Mesh/geometry/detail/UnitNormal.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/mesh/MMeshElementPrefetch.h>
#include <KetSDK/Mesh/operators/detail/FaceMatcher.h>
#include <KetSDK/Mesh/operators/detail/ParallelSort.h>
#include <KetSDK/Mesh/operators/detail/SubVolumeIDs.h>
#include <KetSDK/Mesh/operators/detail/SurfaceRecord.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/Data/MStlSurface.h>
#include <KetSDK/Triangles/Data/MStlTriangle.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

using namespace KetSDK::Mesh::Detail;

namespace {

// Stands for the number of a sub-volume where there is no neighbour.
constexpr int Exterior = std::numeric_limits<int>::max();

// A face that goes to a surface.
struct TakenFace {
    std::uint32_t element;
    std::uint32_t face;
    int id;    // number of the element's sub-volume
    int other; // number of the neighbour's, or Exterior

    std::uint64_t Position() const noexcept { return std::uint64_t{element} << 32 | face; }
};

// The faces to extract, in the order of elements and of their faces.
template <bool WithQuadrilaterals>
std::vector<TakenFace> FindFaces(MMeshBase& mesh, bool interfaces, bool parallel) {
    using Matcher = FaceMatcher<WithQuadrilaterals>;
    static_assert(Matcher::NoNeighbour == Exterior);
    std::vector<TakenFace> faces;
    SubVolumeIDs const ids(mesh);
    Matcher matcher(mesh, parallel, ids);
    auto const take = [&faces, interfaces](std::uint32_t element, std::uint32_t face, int id, int other,
                                           bool has_neighbour) {
        if (interfaces ? id < other : !has_neighbour)
            faces.push_back({element, face, id, other});
    };
    matcher.ForEachBoundaryFace(take);
    if constexpr (!WithQuadrilaterals) {
        // They give no triangle, but their surface and points.
        for (auto const& [element, face] : matcher.CollapsedFaces()) {
            MMeshElement* const e = mesh.GetElement(element);
            MMeshElement const* const neighbour = mesh.GetNeighborsInfo()->GetNeighbor(e, face);
            take(element, face, ids(*e), neighbour ? ids(*neighbour) : Exterior, neighbour != nullptr);
        }
    }
    Sort(
        faces, [](TakenFace const& a, TakenFace const& b) { return a.Position() < b.Position(); }, parallel);
    return faces;
}

// A triangle as it goes into a container, with all that is read of the mesh for it.
struct FaceTriangle {
    struct Corner {
        MLong x, y, z; // in internal units
        MLong node;
    };
    std::array<Corner, 3> corners;
    MMVector<float, 3> normal;
    NodeBits on_face; // the nodes of the element on the triangle's face
    TakenFace face;
    unsigned char nodes; // of the element
};

// Cuts a face into triangles, four where it is curved and wanted so, and adds these to others.
void CutFace(MMeshElement const& e, TakenFace const& taken, bool curved,
             std::vector<FaceTriangle>& triangles) {
    ElementFace const& face = FacesOfElement(e.GetNodeCount())[taken.face];
    NodeBits const on_face = NodesOnFace(e.GetNodeCount(), face);
    auto const add = [&](unsigned char i, unsigned char j, unsigned char k) {
        MMeshPoint const& p = *e.GetNode(i);
        MMeshPoint const& q = *e.GetNode(j);
        MMeshPoint const& r = *e.GetNode(k);
        auto const corner = [](MMeshPoint const& node) {
            return FaceTriangle::Corner{node.x, node.y, node.z, node.GetIndex()};
        };
        triangles.push_back(
            {.corners = {corner(p), corner(q), corner(r)},
             .normal = MMVector<float, 3>(UnitNormal(p.GetPosition(), q.GetPosition(), r.GetPosition())),
             .on_face = on_face,
             .face = taken,
             .nodes = e.GetNodeCount()});
    };
    unsigned char const a = face.node[0], b = face.node[1], c = face.node[2];
    if (curved && e.GetNodeCount() == 10) {
        unsigned char const ab = MidNodeBetween(a, b), bc = MidNodeBetween(b, c), ca = MidNodeBetween(c, a);
        unsigned char const quarters[4][3] = {{a, ab, ca}, {ab, b, bc}, {ca, bc, c}, {ab, bc, ca}};
        for (auto const& quarter : quarters)
            add(quarter[0], quarter[1], quarter[2]);
        return;
    }
    for (unsigned int last = 2; last < face.corners; ++last)
        add(face.node[0], face.node[last - 1], face.node[last]);
}

// Writes triangles into the surfaces of a container, which are made and named as they are first needed.
class SurfaceWriter {
public:
    SurfaceWriter(MStlBase& stl, MMeshBase const& mesh, MSurfaceOrigins* origins)
        : m_stl(stl)
        , m_record(origins, stl)
        , m_points(static_cast<std::size_t>(mesh.NumberOfPoints()), nullptr) {}

    void Write(std::span<FaceTriangle const> triangles) {
        constexpr std::size_t ahead = 8;
        for (std::size_t i = 0; i < triangles.size(); ++i) {
            if (i + 2 * ahead < triangles.size())
                for (FaceTriangle::Corner const& corner : triangles[i + 2 * ahead].corners)
                    KetSDK::Support::Prefetch(&m_points[static_cast<std::size_t>(corner.node)]);
            if (i + ahead < triangles.size())
                for (FaceTriangle::Corner const& corner : triangles[i + ahead].corners)
                    PrefetchPoint(corner);
            Write(triangles[i]);
        }
    }
    // To be called after the last one.
    void Finish() { m_record.Finish(); }

private:
    void PrefetchPoint(FaceTriangle::Corner const& corner) const noexcept {
        if (MStlPoint const* const point = m_points[static_cast<std::size_t>(corner.node)])
            KetSDK::Support::Prefetch(point);
        else
            m_stl.PrefetchPoint(corner.x, corner.y, corner.z);
    }

    // A triangle that nodes at one position collapse leaves its surface and its points.
    void Write(FaceTriangle const& triangle) {
        MStlSurface& surface = SurfaceBetween(triangle.face.id, triangle.face.other);
        auto const& [a, b, c] = triangle.corners;
        MStlPoint* const pa = PointOf(a);
        MStlPoint* const pb = PointOf(b);
        MStlPoint* const pc = PointOf(c);
        if (auto* const item = surface.AddTriangle(pa, pb, pc)) {
            item->GetData().SetNormalFloat(triangle.normal);
            m_record.AddTriangle(static_cast<MLong>(triangle.face.element), triangle.nodes, triangle.on_face);
        }
    }
    MStlSurface& SurfaceBetween(int id, int other) {
        MStlSurface*& surface = m_surfaces[{id, other}];
        if (!surface) {
            surface = m_stl.AddSurface(nullptr);
            std::wstring const number = std::to_wstring(id);
            // No blank behind "Interface Surface": the name is split at "-" by those who read it back.
            std::wstring const name = other == Exterior
                                          ? L"Exterior Surface-" + number
                                          : L"Interface Surface" + number + L"-" + std::to_wstring(other);
            surface->SetName(name.c_str());
            m_record.AddSurface({id, other == Exterior ? std::nullopt : std::optional(other)});
        }
        return *surface;
    }

    // Model units times the unit factor, rounded, are the node's own integers again: the factor is a
    // power of two. Each node is looked up in the container once.
    MStlPoint* PointOf(FaceTriangle::Corner const& corner) {
        MStlPoint*& point = m_points[static_cast<std::size_t>(corner.node)];
        if (!point) {
            point = m_stl.AddPoint(corner.x, corner.y, corner.z, false);
            m_record.AddPoint(*point, corner.node);
        }
        return point;
    }

    MStlBase& m_stl;
    SurfaceRecord m_record;
    std::map<std::pair<int, int>, MStlSurface*> m_surfaces;
    std::vector<MStlPoint*> m_points;
};

} // namespace

MMeshExtractStlSurfaceOperator::~MMeshExtractStlSurfaceOperator() = default;

bool MMeshExtractStlSurfaceOperator::Operate() {
    MMeshBase* const mesh = GetMesh();
    if (!mesh)
        return false;
    if (!m_stl)
        m_stl = new MStlBase;
    mesh->GetNeighborsInfo()->Enable(GetParallel());

    std::vector<TakenFace> const faces = HasTrianglesOnly(mesh->Elements(), GetParallel())
                                             ? FindFaces<false>(*mesh, m_extract_interfaces, GetParallel())
                                             : FindFaces<true>(*mesh, m_extract_interfaces, GetParallel());
    m_stl->ReserveLookUps(faces.size() / 2); // a closed surface of triangles has half as many points
    SurfaceWriter writer(*m_stl, *mesh, m_origins);
    auto const element_of = [&](std::uint64_t i) {
        return mesh->GetElement(faces[static_cast<std::size_t>(i)].element);
    };
    // Triangles are made on any thread, and written in the order of elements.
    KetSDK::Support::ComputeSteps<std::vector<FaceTriangle>>(
        {.items = faces.size(), .step = 512, .parallel = GetParallel()},
        [&](std::uint64_t first, std::uint64_t last, std::vector<FaceTriangle>& triangles) {
            triangles.clear();
            for (std::uint64_t i = first; i < last; ++i) {
                KetSDK::Mesh::PrefetchWithNodes<16>(i, last, element_of);
                CutFace(*element_of(i), faces[static_cast<std::size_t>(i)], m_curved, triangles);
            }
        },
        [&](std::uint64_t, std::uint64_t, std::vector<FaceTriangle> const& triangles) {
            writer.Write(triangles);
            return true;
        });
    writer.Finish();
    return true;
}
