// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshConvertToStlOperator.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/geometry/detail/UnitNormal.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/detail/SurfaceRecord.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

using namespace KetSDK::Mesh::Detail;

namespace {

using Descriptor = MMeshElementDescriptor;

using Vector = MMVector<double, 3>;

using Corners = std::array<Vector, 4>;

// The first four nodes of an element, shrunk as PolyhedronInterface::ShrinkTowardsCentroid shrinks them: no
// virtual function is called for each of very many corners.
Corners ShrunkCorners(MMeshElement const& e, double f) noexcept {
    Corners corners;
    for (unsigned int i = 0; i < std::min<unsigned int>(4, e.GetNodeCount()); ++i)
        corners[i] = e.GetNode(i)->GetPosition();
    if (f == 0.0)
        return corners;
    Vector const centroid = (corners[0] + corners[1] + corners[2] + corners[3]) * 0.25;
    for (Vector& corner : corners)
        corner = corner * (1.0 - f) + centroid * f;
    return corners;
}

// As std::lround, without a call: with the largest number below one half added, no number but those that are
// rounded up reaches the next integer.
MLong Rounded(double v) noexcept {
    constexpr double half = 0x1.fffffffffffffp-2;
    return static_cast<MLong>(static_cast<std::int64_t>(v + std::copysign(half, v)));
}

// Writes tetrahedra into a container, some time after their positions are known: what the container reads to
// find a point at a position, which may lie anywhere in memory, is fetched meanwhile.
class FaceWriter {
public:
    FaceWriter(MStlBase& stl, MSurfaceOrigins* origins)
        : m_stl(stl)
        , m_record(origins, stl) {}

    void Add(MMeshElement const& e, std::uint64_t index, Corners const& tetrahedron) {
        constexpr double unit = KetSDK::Common::MInternalUnits::Get();
        Waiting& added = m_waiting[m_count++];
        added.element = &e;
        added.index = static_cast<MLong>(index);
        added.corners = tetrahedron;
        for (std::size_t i = 0; i < 4; ++i) {
            Position& p = added.positions[i];
            for (std::size_t axis = 0; axis < 3; ++axis)
                p[axis] = Rounded(tetrahedron[i][axis] * unit);
            m_stl.PrefetchPoint(p[0], p[1], p[2]);
        }
        if (m_count == m_waiting.size())
            Flush();
    }

    // Writes those that wait.
    void Flush() {
        for (std::size_t i = 0; i < m_count; ++i)
            WriteOne(m_waiting[i]);
        m_count = 0;
    }
    // To be called after the last one.
    void Finish() {
        Flush();
        m_record.Finish();
    }

private:
    using Position = std::array<MLong, 3>;

    struct Waiting {
        MMeshElement const* element;
        MLong index;
        Corners corners;
        std::array<Position, 4> positions; // in internal units
    };

    void WriteOne(Waiting const& tetrahedron) {
        // Each corner lies on three faces, but is looked up once, in the order in which the faces first meet
        // it.
        MStlPoint* points[4];
        for (unsigned int const i : {0U, 1U, 3U, 2U}) {
            Position const& p = tetrahedron.positions[i];
            points[i] = m_stl.AddPoint(p[0], p[1], p[2], false);
            if (i < tetrahedron.element->GetNodeCount())
                m_record.AddPoint(*points[i], tetrahedron.element->GetNode(i)->GetIndex());
        }
        for (std::size_t face = 0; face < 4; face += 2) {
            auto const& first = Descriptor::descr_triangle_point_ORIENTED[face];
            auto const& second = Descriptor::descr_triangle_point_ORIENTED[face + 1];
            auto const corners = [&](std::size_t i) {
                return VectorPair::Of(tetrahedron.corners[first[i]], tetrahedron.corners[second[i]]);
            };
            // Of the corners before they are rounded.
            VectorPair const normals = UnitNormals(corners(0), corners(1), corners(2));
            _AddTriangle(tetrahedron, points, first, {normals.x[0], normals.y[0], normals.z[0]});
            _AddTriangle(tetrahedron, points, second, {normals.x[1], normals.y[1], normals.z[1]});
        }
    }

    void _AddTriangle(Waiting const& tetrahedron, MStlPoint* const (&points)[4],
                      unsigned char const (&face)[3], Vector const& normal) {
        auto* const triangle = m_stl.AddTriangle(points[face[0]], points[face[1]], points[face[2]], nullptr);
        triangle->SetNormalFloat(MMVector<float, 3>(normal));
        m_record.AddTriangle(tetrahedron.index, tetrahedron.element->GetNodeCount(),
                             1U << face[0] | 1U << face[1] | 1U << face[2]);
    }

    MStlBase& m_stl;
    SurfaceRecord m_record;
    std::array<Waiting, 16> m_waiting;
    std::size_t m_count = 0;
};

} // namespace

MMeshConvertToStlOperator::~MMeshConvertToStlOperator() = default;

bool MMeshConvertToStlOperator::Operate() {
    MMeshBase* const mesh = GetMesh();
    if (!mesh)
        return false;
    if (!m_stl)
        m_stl = new MStlBase;
    auto const is_selected = [this](MMeshElement const& e) {
        return !m_selection || m_selection->GetValue(e);
    };
    auto const selected = static_cast<std::uint64_t>(
        m_selection ? std::ranges::count_if(mesh->Elements(), is_selected) : mesh->NumberOfElements());
    auto const nodes = static_cast<std::uint64_t>(mesh->NumberOfPoints());
    m_stl->ReserveLookUps(m_epsilon == 0.0 ? std::min(nodes, 4 * selected) : 4 * selected);

    FaceWriter writer(*m_stl, m_origins);
    mesh->Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t index) {
        if (is_selected(e))
            writer.Add(e, index, ShrunkCorners(e, m_epsilon));
    });
    writer.Finish();
    return true;
}
