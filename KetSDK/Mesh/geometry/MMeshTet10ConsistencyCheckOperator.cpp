// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshTet10ConsistencyCheckOperator.h>

#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/Support/ParallelWork.h>

MMeshTet10ConsistencyCheckOperator::~MMeshTet10ConsistencyCheckOperator() = default;

bool MMeshTet10ConsistencyCheckOperator::Operate() {
    MMeshBase const* mesh = GetMesh();
    if (!mesh)
        return false;
    struct Counts {
        int wrong_mid_edges, wrong_mid_faces, wrong_orientation, zero_volume;
    };
    bool const quadratic = mesh->GetMeshType() == MMeshBase::TetMeshType::Quadratic;
    auto const count = [&](std::uint64_t first, std::uint64_t last, Counts& counts) {
        counts = {};
        mesh->Elements().ForEachWithNodes(first, last, [&](MMeshElement const& element, std::uint64_t) {
            if (m_every_kind && (element.GetNodeCount() == 6 || element.GetNodeCount() == 8)) {
                double const volume = GetElementVolume(element);
                counts.wrong_orientation += volume < 0.0;
                counts.zero_volume += volume == 0.0;
                return;
            }
            Tetrahedron10Base<double> tetrahedron(&element, false);
            counts.wrong_mid_edges += quadratic && !tetrahedron.CheckMidVertices(m_tolerance);
            counts.wrong_mid_faces += quadratic && !tetrahedron.CheckMidFaces(m_tolerance);
            counts.wrong_orientation += !tetrahedron.OrientationOK();
            counts.zero_volume += tetrahedron.Volume() == 0.0;
        });
    };
    auto const add = [this](std::uint64_t first, std::uint64_t last, Counts const& counts) {
        m_wrong_mid_edges += counts.wrong_mid_edges;
        m_wrong_mid_faces += counts.wrong_mid_faces;
        m_wrong_orientation += counts.wrong_orientation;
        m_zero_volume += counts.zero_volume;
        m_elements_checked += static_cast<int>(last - first);
        return true;
    };
    return KetSDK::Support::ComputeSteps<Counts>(
        {.items = mesh->Elements().GetNumElements(), .step = 1024, .parallel = GetParallel()}, count, add);
}
