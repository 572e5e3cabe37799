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

MStlPoint* AddPoint(MStlBase& stl, MMVector<double, 3> const& position) {
    auto const internal = [&position](std::size_t axis) {
        return static_cast<MLong>(std::lround(position[axis] * KetSDK::Common::MInternalUnits::Get()));
    };
    return stl.AddPoint(internal(0), internal(1), internal(2), false);
}

void AddFaces(MStlBase& stl, std::array<MMVector<double, 3>, 4> const& corners) {
    // Each corner lies on three faces, but is looked up once, in the order in which the faces first meet it.
    MStlPoint* points[4];
    for (unsigned int const i : {0U, 1U, 3U, 2U})
        points[i] = AddPoint(stl, corners[i]);
    for (auto const& [a, b, c] : Descriptor::descr_triangle_point_ORIENTED) {
        auto* const triangle = stl.AddTriangle(points[a], points[b], points[c], nullptr);
        // Of the corners before they are rounded.
        auto const normal = KetSDK::Mesh::Detail::UnitNormal(corners[a], corners[b], corners[c]);
        triangle->SetNormalFloat(MMVector<float, 3>(normal));
    }
}

} // namespace

MMeshConvertToStlOperator::~MMeshConvertToStlOperator() = default;

bool MMeshConvertToStlOperator::Operate() {
    MMeshBase* const mesh = GetMesh();
    if (!mesh)
        return false;
    if (!m_stl)
        m_stl = new MStlBase;
    mesh->Elements().ForEachWithNodes([this](MMeshElement const& e, std::uint64_t) {
        if (m_selection && !m_selection->GetValue(e))
            return;
        TetrahedronBase<double> tetrahedron(&e);
        tetrahedron.ShrinkTowardsCentroid(m_epsilon);
        AddFaces(*m_stl, {tetrahedron.GetVertex(0), tetrahedron.GetVertex(1), tetrahedron.GetVertex(2),
                          tetrahedron.GetVertex(3)});
    });
    return true;
}
