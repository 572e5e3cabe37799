#include <KetSDK/Mesh/operators/MMeshConvertToStlOperator.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/geometry/UnitNormal.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <array>
#include <cmath>

namespace {

using Descriptor = MMeshElementDescriptor;

using Vector = MMVector<double, 3>;

// Writes tetrahedra into a container, some time after their positions are known: what the container reads to
// find a point at a position, which may lie anywhere in memory, is fetched meanwhile.
class FaceWriter {
public:
    explicit FaceWriter(MStlBase& stl)
        : m_stl(stl) {}

    void Add(TetrahedronBase<double> const& tetrahedron) {
        Waiting& added = m_waiting[m_count++];
        for (unsigned int i = 0; i < 4; ++i) {
            added.corners[i] = tetrahedron.GetVertex(i);
            Position& p = added.positions[i];
            for (std::size_t axis = 0; axis < 3; ++axis)
                p[axis] = static_cast<MLong>(std::lround(added.corners[i][axis] * m_units));
            m_stl.PrefetchPoint(p[0], p[1], p[2]);
        }
        if (m_count == m_waiting.size())
            Flush();
    }

    // Writes those that wait. To be called after the last one.
    void Flush() {
        for (std::size_t i = 0; i < m_count; ++i)
            _Write(m_waiting[i]);
        m_count = 0;
    }

private:
    using Position = std::array<MLong, 3>;

    struct Waiting {
        std::array<Vector, 4> corners;
        std::array<Position, 4> positions; // in internal units
    };

    void _Write(Waiting const& tetrahedron) {
        // Each corner lies on three faces, but is looked up once, in the order in which the faces first meet
        // it.
        MStlPoint* points[4];
        for (unsigned int const i : {0U, 1U, 3U, 2U}) {
            Position const& p = tetrahedron.positions[i];
            points[i] = m_stl.AddPoint(p[0], p[1], p[2], false);
        }
        std::array<Vector, 4> const& corners = tetrahedron.corners;
        for (auto const& [a, b, c] : Descriptor::descr_triangle_point_ORIENTED) {
            auto* const triangle = m_stl.AddTriangle(points[a], points[b], points[c], nullptr);
            // Of the corners before they are rounded.
            Vector const normal = KetSDK::Mesh::Detail::UnitNormal(corners[a], corners[b], corners[c]);
            triangle->SetNormalFloat(MMVector<float, 3>(normal));
        }
    }

    static constexpr double m_units = KetSDK::Common::MInternalUnits::Get();

    MStlBase& m_stl;
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
    FaceWriter writer(*m_stl);
    mesh->Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
        if (m_selection && !m_selection->GetValue(e))
            return;
        TetrahedronBase<double> tetrahedron(&e);
        tetrahedron.ShrinkTowardsCentroid(m_epsilon);
        writer.Add(tetrahedron);
    });
    writer.Flush();
    return true;
}
