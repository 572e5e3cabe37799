#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Math/MathCore/MTriangle.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/FaceMatcher.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/Data/MStlSurface.h>
#include <KetSDK/Triangles/Data/MStlTriangle.h>

#include <algorithm>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

using namespace KetSDK::Mesh::Detail;

namespace {

// Stands for the number of a sub-volume where there is no neighbour.
constexpr int Exterior = std::numeric_limits<int>::max();

// A face that goes to a surface; the faces of one element form a chain.
struct TakenFace {
    int other; // number of the neighbour's sub-volume, or Exterior
    std::uint32_t next;
    unsigned char face;
};
constexpr std::uint32_t NoFace = std::numeric_limits<std::uint32_t>::max();

// The identifier of the sub-volume of each element.
class SubVolumeIDs {
public:
    explicit SubVolumeIDs(MMeshBase const& mesh)
        : m_numbers(std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask()) {
        for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
            m_ids.push_back((*it)->GetID());
    }
    // -1 for an element in no sub-volume.
    int operator()(MMeshElement const& e) const {
        int const number = m_numbers ? m_numbers->GetValue(e) : -1;
        bool const listed = number >= 0 && static_cast<std::size_t>(number) < m_ids.size();
        return listed ? m_ids[static_cast<std::size_t>(number)] : -1;
    }

private:
    MDataMask<MMeshElement, int> const* m_numbers;
    std::vector<int> m_ids;
};

// The elements that use each node as a corner, by ascending address. The neighbour information has
// these lists for the first four nodes of every element, which is all of them in a mesh of tetrahedra.
class Incidence {
public:
    explicit Incidence(MMeshBase& mesh) : m_neighbors(*mesh.GetNeighborsInfo()) {
        bool const only_tetrahedra = std::none_of(mesh.Elements().begin(), mesh.Elements().end(), [](auto& e) {
            return MMeshElementDescriptor::GetNumSimpleNodes(e.GetNodeCount()) > 4;
        });
        if (!only_tetrahedra)
            _Build(mesh);
    }
    std::vector<MMeshElement*> const& operator()(MMeshPoint const& node) const {
        return m_own.empty() ? m_neighbors.GetElements(node) : m_own[static_cast<std::size_t>(node.GetIndex())];
    }

private:
    void _Build(MMeshBase& mesh) {
        m_own.resize(static_cast<std::size_t>(mesh.NumberOfPoints()));
        for (MMeshElement& e : mesh.Elements())
            for (unsigned int i = 0; i < MMeshElementDescriptor::GetNumSimpleNodes(e.GetNodeCount()); ++i)
                m_own[static_cast<std::size_t>(e.GetNode(i)->GetIndex())].push_back(&e);
        for (auto& list : m_own)
            std::sort(list.begin(), list.end());
    }

    MMeshBaseNeighborsInfo const& m_neighbors;
    std::vector<std::vector<MMeshElement*>> m_own;
};

// The faces to extract, as a chain for the mask index of each element.
class TakenFaces {
public:
    TakenFaces(MMeshBase& mesh, SubVolumeIDs const& ids, bool interfaces)
        : m_first(static_cast<std::size_t>(mesh.GetElementMasks()->GetCapacity()), NoFace) {
        Incidence const incidence(mesh);
        FaceMatcher matcher;
        auto const take = [&](MMeshElement* e, unsigned char face, MMeshElement* neighbour) {
            if (!interfaces) {
                if (!neighbour)
                    _Add(*e, face, Exterior);
                return;
            }
            int const other = neighbour ? ids(*neighbour) : Exterior;
            if (ids(*e) < other)
                _Add(*e, face, other);
        };
        for (MMeshPointIterator node = mesh.BeginPoint(); node != mesh.EndPoint(); ++node)
            matcher.Match(&*node, incidence(*node), take);
    }

    // The faces of an element by ascending face number.
    std::vector<TakenFace> const& Of(MMeshElement const& e) {
        m_faces_of_element.clear();
        for (std::uint32_t i = m_first[static_cast<std::size_t>(e.GetMaskIndex())]; i != NoFace; i = m_faces[i].next)
            m_faces_of_element.push_back(m_faces[i]);
        std::sort(m_faces_of_element.begin(), m_faces_of_element.end(),
                  [](TakenFace const& a, TakenFace const& b) { return a.face < b.face; });
        return m_faces_of_element;
    }

private:
    void _Add(MMeshElement const& e, unsigned char face, int other) {
        std::uint32_t& first = m_first[static_cast<std::size_t>(e.GetMaskIndex())];
        m_faces.push_back({other, first, face});
        first = static_cast<std::uint32_t>(m_faces.size() - 1);
    }

    std::vector<std::uint32_t> m_first;
    std::vector<TakenFace> m_faces;
    std::vector<TakenFace> m_faces_of_element;
};

// Writes faces into the surfaces of a container, which are made and named as they are first needed.
class SurfaceWriter {
public:
    SurfaceWriter(MStlBase& stl, MMeshBase const& mesh)
        : m_stl(stl), m_points(static_cast<std::size_t>(mesh.NumberOfPoints()), nullptr) {}

    void Write(MMeshElement const& e, unsigned char face, int id, int other) {
        MStlSurface& surface = _Surface(id, other);
        ElementFace const& corners = FacesOfElement(e.GetNodeCount())[face];
        for (unsigned int last = 2; last < corners.corners; ++last)
            _WriteTriangle(surface, *e.GetNode(corners.node[0]), *e.GetNode(corners.node[last - 1]),
                           *e.GetNode(corners.node[last]));
    }

private:
    MStlSurface& _Surface(int id, int other) {
        MStlSurface*& surface = m_surfaces[{id, other}];
        if (!surface) {
            surface = m_stl.AddSurface(nullptr);
            std::wstring const number = std::to_wstring(id);
            // No blank behind "Interface Surface": the name is split at "-" by those who read it back.
            std::wstring const name = other == Exterior
                                          ? L"Exterior Surface-" + number
                                          : L"Interface Surface" + number + L"-" + std::to_wstring(other);
            surface->SetName(name.c_str());
        }
        return *surface;
    }

    void _WriteTriangle(MStlSurface& surface, MMeshPoint const& a, MMeshPoint const& b, MMeshPoint const& c) {
        constexpr double unit = KetSDK::Common::MInternalUnits::Get();
        auto const position = [](MMeshPoint const& p) {
            return MMVector<double, 3>(p.x / unit, p.y / unit, p.z / unit);
        };
        MMVector<double, 3> const normal = MTriangle<double, 3>(position(a), position(b), position(c)).Normal();
        MStlPoint* const pa = _Point(a);
        MStlPoint* const pb = _Point(b);
        MStlPoint* const pc = _Point(c);
        // Null for a triangle that nodes at one place collapse.
        if (auto* const item = surface.AddTriangle(pa, pb, pc))
            item->GetData().SetNormalFloat(MMVector<float, 3>(normal));
    }

    // Model units times the unit factor, rounded, are the node's own integers again: the factor is a
    // power of two. Each node is looked up in the container once.
    MStlPoint* _Point(MMeshPoint const& p) {
        MStlPoint*& point = m_points[static_cast<std::size_t>(p.GetIndex())];
        if (!point)
            point = m_stl.AddPoint(p.x, p.y, p.z, false);
        return point;
    }

    MStlBase& m_stl;
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
    mesh->GetNeighborsInfo()->Enable();

    SubVolumeIDs const ids(*mesh);
    TakenFaces faces(*mesh, ids, m_extract_interfaces);
    SurfaceWriter writer(*m_stl, *mesh);
    for (MMeshElement const& e : mesh->Elements())
        for (TakenFace const& taken : faces.Of(e))
            writer.Write(e, taken.face, ids(e), taken.other);
    return true;
}
