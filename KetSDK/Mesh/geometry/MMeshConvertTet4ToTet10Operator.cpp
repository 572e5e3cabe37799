// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshConvertTet4ToTet10Operator.h>

#include <KetSDK/Common/Progress/BranchingProgressReporter.h>
#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Mesh/geometry/detail/MeshRebuild.h>

#include <cmath>

using KetSDK::Common::BranchingProgressReporter;
using KetSDK::Common::IncrementalProgressReporter;
using KetSDK::Mesh::Detail::MeshRebuild;
using KetSDK::Mesh::Detail::MeshSketch;

namespace {

constexpr char const* Title = "Label sub volumes"; // kept: hosts know the job by it

// About as many nodes as the target gets: corners and edges. By Euler's formula there is an edge for each
// corner and each element, and one for two faces on the boundary. Of these a mesh has few, and not many more
// than a ball of as many elements.
std::uint64_t ExpectedNodes(MMeshBase const& mesh) {
    auto const elements = static_cast<double>(mesh.NumberOfElements());
    return 2 * static_cast<std::uint64_t>(mesh.NumberOfPoints()) +
           static_cast<std::uint64_t>(elements + 4.0 * std::pow(elements, 2.0 / 3.0));
}

void AddQuadratic(MMeshElement const& e, MeshSketch& sketch) {
    MMeshPoint const* corners[4];
    MeshSketch::Mark nodes[10];
    for (unsigned int i = 0; i < 4; ++i) {
        corners[i] = MeshSketch::SourceOf(e, i);
        nodes[i] = sketch.NodeFor(*corners[i]);
    }
    for (unsigned int i = 0; i < 6; ++i) {
        auto const& edge = MMeshElementDescriptor::descr_tet4_tet10_point[i];
        nodes[4 + i] = sketch.MiddleOf(*corners[edge[0]], *corners[edge[1]]);
    }
    sketch.AddElement(nodes);
}

// False when cancelled.
bool Convert(MeshRebuild& rebuild, MMeshSubVolume const& source, IncrementalProgressReporter& progress) {
    struct NoNotes {};
    return rebuild.ForEachElement<NoNotes>(
        source, [](MMeshElement const& e, MeshSketch& sketch, NoNotes&) { AddQuadratic(e, sketch); },
        [&progress](std::uint64_t elements, NoNotes const&) {
            if (elements < MeshRebuild::ElementsPerStep)
                return true;
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
    MeshRebuild rebuild(*mesh, *m_target, m_origins, GetParallel());
    rebuild.ExpectNodes(ExpectedNodes(*mesh));
    BranchingProgressReporter progress(m_progress, Title, true);
    double const weight = 1.0 / static_cast<double>(mesh->NumberOfSubVolumes());
    bool const done = rebuild.ForEachSubVolume([&](MMeshSubVolume const& source) {
        IncrementalProgressReporter pass(progress.CreateNestedDelegate(weight), Title,
                                         source.GetNbElements() / MeshRebuild::ElementsPerStep, true);
        if (!Convert(rebuild, source, pass))
            return false;
        pass = pass.GetMaxValue();
        return true;
    });
    if (done)
        m_target->SetMeshType(MMeshBase::Quadratic);
    return done;
}
