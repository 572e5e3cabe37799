// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceChecker.h>

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>
#include <KetSDK/Mesh/correspondence/detail/OwnMapper.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <tuple>
#include <utility>

// Looks at the faces of a mesh.
class MMeshCorrespondenceChecker::Walk {
public:
    Walk(MMeshCorrespondenceChecker& counts, MMeshBase& mesh, MMeshCorrespondenceMapper& mapper)
        : m_counts(counts)
        , m_mesh(mesh)
        , m_mapper(mapper) {}

    void Run(bool parallel) {
        KetSDK::Support::ComputeSteps<Tally>(
            {.items = m_mesh.Elements().GetNumElements(), .step = 1024, .parallel = parallel},
            [this](std::uint64_t first, std::uint64_t last, Tally& tally) {
                tally = {};
                for (std::uint64_t i = first; i < last; ++i) {
                    MMeshElement& e = *m_mesh.GetElement(i);
                    for (unsigned int face = 0; e.GetNodeCount() >= 4 && face < 4; ++face)
                        Count(e, face, tally);
                }
            },
            [this](std::uint64_t, std::uint64_t, Tally const& tally) {
                m_counts.m_boundary.Add(tally.boundary);
                m_counts.m_interface.Add(tally.interface);
                m_counts.m_inner.Add(tally.inner);
                m_counts.m_disagreeing += tally.facing_in;
                for (auto const& [side, faces] : tally.facing)
                    m_facing[side].Add(faces);
                return true;
            });
        for (auto const& [side, faces] : m_facing)
            m_counts.m_disagreeing += std::min(faces.with, faces.without);
    }

private:
    // How the triangles of a surface between two sub-volumes face.
    using Facing = std::map<std::tuple<MStlSurface const*, int, int>, Counts>;
    // Of some elements.
    struct Tally {
        Counts boundary;
        Counts interface;
        Counts inner;
        std::uint64_t facing_in = 0; // triangles at the boundary
        Facing facing;
    };

    void Count(MMeshElement& e, unsigned int face, Tally& tally) const {
        MMeshElement* const neighbour = m_mesh.GetNeighborsInfo()->GetNeighbor(&e, face);
        MStlTriangle const* const triangle = m_mapper.GetTriangle(&e, face);
        int const own = NumberOf(e);
        int const other = neighbour ? NumberOf(*neighbour) : own;
        if (!neighbour) {
            tally.boundary.Add(triangle);
            tally.facing_in += triangle && !FacesAway(*triangle, e, face);
        } else if (own < other) {
            tally.interface.Add(triangle);
            if (triangle)
                tally.facing[{triangle->GetSurface(), own, other}].Add(FacesAway(*triangle, e, face));
        } else if (own == other && std::less<>()(&e, neighbour)) {
            tally.inner.Add(triangle);
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
    Facing m_facing;
};

MMeshCorrespondenceChecker::MMeshCorrespondenceChecker(MStlBase* stl, MMeshBase* mesh, bool parallel)
    : m_stl(stl) {
    SetMesh(mesh);
    SetParallel(parallel);
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
    if (!mapper) {
        auto projection = std::make_shared<MMeshCorrespondenceMapperProjection>(m_stl, mesh, 0.001);
        projection->SetParallel(GetParallel());
        mapper = std::move(projection);
    }
    if (!mapper->IsMapped())
        mapper->Map();
    mesh->GetNeighborsInfo()->Enable(GetParallel());
    Walk(*this, *mesh, *mapper).Run(GetParallel() && KetSDK::Mesh::Detail::OwnMapper(*mapper));
    for (MStlTriangle const& triangle : m_stl->Triangles())
        m_triangles.Add(mapper->GetElement(&triangle));
    return true;
}
