// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceChecker.h>

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <algorithm>
#include <functional>
#include <map>
#include <tuple>

// One pass over the faces of a mesh.
class MMeshCorrespondenceChecker::Walk {
public:
    Walk(MMeshCorrespondenceChecker& counts, MMeshBase& mesh, MMeshCorrespondenceMapper& mapper)
        : m_counts(counts)
        , m_mesh(mesh)
        , m_mapper(mapper) {}

    void Run() {
        for (MMeshElement& e : m_mesh.Elements())
            for (unsigned int face = 0; e.GetNodeCount() >= 4 && face < 4; ++face)
                Count(e, face);
        for (auto const& [side, faces] : m_facing)
            m_counts.m_disagreeing += std::min(faces.with, faces.without);
    }

private:
    void Count(MMeshElement& e, unsigned int face) {
        MMeshElement* const neighbour = m_mesh.GetNeighborsInfo()->GetNeighbor(&e, face);
        MStlTriangle const* const triangle = m_mapper.GetTriangle(&e, face);
        int const own = NumberOf(e);
        int const other = neighbour ? NumberOf(*neighbour) : own;
        if (!neighbour) {
            m_counts.m_boundary.Add(triangle);
            m_counts.m_disagreeing += triangle && !FacesAway(*triangle, e, face);
        } else if (own < other) {
            m_counts.m_interface.Add(triangle);
            if (triangle)
                m_facing[{triangle->GetSurface(), own, other}].Add(FacesAway(*triangle, e, face));
        } else if (own == other && std::less<>()(&e, neighbour)) {
            m_counts.m_inner.Add(triangle);
        }
    }

    // -1 for an element in no sub-volume.
    int NumberOf(MMeshElement const& e) const {
        MMeshSubVolume const* const sub_volume = m_mesh.GetSubVolume(e);
        return sub_volume ? sub_volume->GetID() : -1;
    }

    static bool FacesAway(MStlTriangle const& triangle, MMeshElement const& e, unsigned int face) {
        auto const& at = MMeshElementDescriptor::descr_triangle_point_ORIENTED[face];
        auto const corner = [&](unsigned int i) {
            MMeshPoint const& p = *e.GetNode(at[i]);
            return MMVector<double, 3>(p.x, p.y, p.z);
        };
        return MTriangle<double, 3>(corner(0), corner(1), corner(2))
                   .Normal()
                   .Dot(triangle.GetPositions().Normal()) >= 0.0;
    }

    MMeshCorrespondenceChecker& m_counts;
    MMeshBase& m_mesh;
    MMeshCorrespondenceMapper& m_mapper;
    // How the triangles of a surface between two sub-volumes face.
    std::map<std::tuple<MStlSurface const*, int, int>, Counts> m_facing;
};

MMeshCorrespondenceChecker::MMeshCorrespondenceChecker(MStlBase* stl, MMeshBase* mesh)
    : m_stl(stl) {
    SetMesh(mesh);
    MMeshCorrespondenceChecker::Operate();
}

MMeshCorrespondenceChecker::~MMeshCorrespondenceChecker() = default;

bool MMeshCorrespondenceChecker::Operate() {
    m_boundary = m_interface = m_inner = m_triangles = {};
    m_disagreeing = 0;
    MMeshBase* const mesh = GetMesh();
    if (!mesh || !m_stl)
        return false;
    std::shared_ptr<MMeshCorrespondenceMapper> mapper = mesh->GetCorrespondenceMapper();
    if (!mapper)
        mapper = std::make_shared<MMeshCorrespondenceMapperProjection>(m_stl, mesh, 0.001);
    if (!mapper->IsMapped())
        mapper->Map();
    mesh->GetNeighborsInfo()->Enable(GetParallel());
    Walk(*this, *mesh, *mapper).Run();
    for (MStlTriangle const& triangle : m_stl->Triangles())
        m_triangles.Add(mapper->GetElement(&triangle));
    return true;
}
