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
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/Data/MStlSurface.h>
#include <KetSDK/Triangles/Data/MStlTriangle.h>

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
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

// Writes faces into the surfaces of a container, which are made and named as they are first needed.
class SurfaceWriter {
public:
    SurfaceWriter(MStlBase& stl, MMeshBase const& mesh, MSurfaceOrigins* origins, bool curved)
        : m_stl(stl)
        , m_curved(curved)
        , m_record(origins, stl)
        , m_points(static_cast<std::size_t>(mesh.NumberOfPoints()), nullptr) {}

    void Write(MMeshElement const& e, TakenFace const& taken) {
        MStlSurface& surface = Surface(taken.id, taken.other);
        ElementFace const& face = FacesOfElement(e.GetNodeCount())[taken.face];
        auto const write = [&](unsigned char a, unsigned char b, unsigned char c) {
            if (WriteTriangle(surface, *e.GetNode(a), *e.GetNode(b), *e.GetNode(c)))
                m_record.AddTriangle(static_cast<MLong>(taken.element), e.GetNodeCount(),
                                     NodesOnFace(e.GetNodeCount(), face));
        };
        unsigned char const a = face.node[0], b = face.node[1], c = face.node[2];
        if (m_curved && e.GetNodeCount() == 10) {
            unsigned char const ab = MidNodeBetween(a, b), bc = MidNodeBetween(b, c),
                                ca = MidNodeBetween(c, a);
            unsigned char const quarters[4][3] = {{a, ab, ca}, {ab, b, bc}, {ca, bc, c}, {ab, bc, ca}};
            for (auto const& quarter : quarters)
                write(quarter[0], quarter[1], quarter[2]);
            return;
        }
        for (unsigned int last = 2; last < face.corners; ++last)
            write(face.node[0], face.node[last - 1], face.node[last]);
    }
    // To be called after the last face.
    void Finish() { m_record.Finish(); }

private:
    MStlSurface& Surface(int id, int other) {
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

    // False for a triangle that nodes at one position collapse.
    bool WriteTriangle(MStlSurface& surface, MMeshPoint const& a, MMeshPoint const& b, MMeshPoint const& c) {
        MMVector<double, 3> const normal = UnitNormal(a.GetPosition(), b.GetPosition(), c.GetPosition());
        MStlPoint* const pa = SurfacePoint(a);
        MStlPoint* const pb = SurfacePoint(b);
        MStlPoint* const pc = SurfacePoint(c);
        auto* const item = surface.AddTriangle(pa, pb, pc);
        if (item)
            item->GetData().SetNormalFloat(MMVector<float, 3>(normal));
        return item != nullptr;
    }

    // Model units times the unit factor, rounded, are the node's own integers again: the factor is a
    // power of two. Each node is looked up in the container once.
    MStlPoint* SurfacePoint(MMeshPoint const& p) {
        MStlPoint*& point = m_points[static_cast<std::size_t>(p.GetIndex())];
        if (!point) {
            point = m_stl.AddPoint(p.x, p.y, p.z, false);
            m_record.AddPoint(*point, p.GetIndex());
        }
        return point;
    }

    MStlBase& m_stl;
    bool m_curved;
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
    SurfaceWriter writer(*m_stl, *mesh, m_origins, m_curved);
    auto const element_of = [&](std::size_t i) { return mesh->GetElement(faces[i].element); };
    for (std::size_t i = 0; i < faces.size(); ++i) {
        KetSDK::Mesh::PrefetchWithNodes<16>(i, faces.size(), element_of);
        writer.Write(*element_of(i), faces[i]);
    }
    writer.Finish();
    return true;
}
