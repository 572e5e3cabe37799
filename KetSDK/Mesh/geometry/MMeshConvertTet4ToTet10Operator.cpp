// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshConvertTet4ToTet10Operator.h>

#include <KetSDK/Common/Progress/BranchingProgressReporter.h>
#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Mesh/geometry/detail/MeshRebuild.h>

using KetSDK::Common::BranchingProgressReporter;
using KetSDK::Common::IncrementalProgressReporter;
using KetSDK::Mesh::Detail::MeshRebuild;

namespace {

constexpr char const* Title = "Label sub volumes"; // kept: hosts know the job by it
constexpr unsigned int ElementsPerStep = 1000;

// Reads the corners at their nodes in the source, which are fetched ahead.
void AddQuadratic(MeshRebuild& rebuild, MMeshElement const& e, MMeshSubVolume& target) {
    MMeshPoint const* corners[4];
    MMeshPoint* nodes[10];
    for (unsigned int i = 0; i < 4; ++i) {
        corners[i] = MeshRebuild::SourceOf(e, i);
        nodes[i] = rebuild.NodeFor(e, i);
    }
    for (unsigned int i = 0; i < 6; ++i) {
        auto const& edge = MMeshElementDescriptor::descr_tet4_tet10_point[i];
        nodes[4 + i] = rebuild.MiddleOf(*corners[edge[0]], *corners[edge[1]]);
    }
    target.AddElement(10, nodes);
}

// False when cancelled.
bool Convert(MeshRebuild& rebuild, MMeshSubVolume const& source, MMeshSubVolume& target,
             IncrementalProgressReporter& progress) {
    unsigned int count = 0;
    auto const prefetch = [&rebuild](MMeshElement const& e) {
        for (auto const& edge : MMeshElementDescriptor::descr_tet4_tet10_point)
            rebuild.PrefetchMiddleOf(*MeshRebuild::SourceOf(e, edge[0]), *MeshRebuild::SourceOf(e, edge[1]));
    };
    return rebuild.ForEachElement(source, prefetch, [&](MMeshElement const& e) {
        AddQuadratic(rebuild, e, target);
        if (++count < ElementsPerStep)
            return true;
        count = 0;
        if (progress.IsCancelled())
            return false;
        ++progress;
        return true;
    });
}

} // namespace

MMeshConvertTet4ToTet10Operator::~MMeshConvertTet4ToTet10Operator() = default;

bool MMeshConvertTet4ToTet10Operator::Operate() {
    MMeshBase const* const mesh = GetMesh();
    if (!mesh || mesh == m_target)
        return false;
    if (!m_target)
        m_target = new MMeshBase;
    MeshRebuild rebuild(*mesh, *m_target, m_origins);
    BranchingProgressReporter progress(m_progress, Title, true);
    double const weight = 1.0 / static_cast<double>(mesh->NumberOfSubVolumes());
    bool const done = rebuild.ForEachSubVolume([&](MMeshSubVolume const& source, MMeshSubVolume& target) {
        IncrementalProgressReporter pass(progress.CreateNestedDelegate(weight), Title,
                                         source.GetNbElements() / ElementsPerStep, true);
        if (!Convert(rebuild, source, target, pass))
            return false;
        pass = pass.GetMaxValue();
        return true;
    });
    if (done)
        m_target->SetMeshType(MMeshBase::Quadratic);
    return done;
}
