// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>
#include <KetSDK/Support/MArenaAllocator.h>

#include <memory>
#include <utility>
#include <vector>

class MStlBase;

namespace KetSDK::Common {
class IncrementalProgressReporter;
}
namespace KetSDK::Mesh::Detail {
class DisjointSets;
}

// Makes a sub-volume of every region of a tetrahedral mesh: of all elements that can be reached from one
// another through shared faces without crossing a triangle of a surface. The sub-volumes that the mesh
// had are gone; the new ones follow one another as their first elements do, with the names and material
// numbers that AddSubVolume gives.
//
// Which triangle lies on which face says the correspondence mapper that the mesh holds, else a
// projection of tolerance 0.001, which is not kept. Enables the neighbour information of the mesh and
// leaves it enabled. Reads no settings. One thread at a time uses operator and mesh.
class KETSDK_MESH_API MMeshOperatorLabelSubVolumes : public MMeshOperator {
public:
    MMeshOperatorLabelSubVolumes() = default;
    MMeshOperatorLabelSubVolumes(MMeshOperatorLabelSubVolumes const&) = default;
    MMeshOperatorLabelSubVolumes(MMeshOperatorLabelSubVolumes&&) = default;
    MMeshOperatorLabelSubVolumes& operator=(MMeshOperatorLabelSubVolumes const&) = default;
    MMeshOperatorLabelSubVolumes& operator=(MMeshOperatorLabelSubVolumes&&) = default;
    ~MMeshOperatorLabelSubVolumes() override;

    // The surface, not owned. It may be empty; it must be set when the mesh holds no mapper.
    void SetStl(MStlBase* stl) noexcept { m_stl = stl; }
    MStlBase* GetStl() const noexcept { return m_stl; }
    // Where progress is reported and cancelling is asked for, about every 1000 elements; may be null.
    void SetProgressDelegate(std::shared_ptr<KetSDK::Common::IProgressDelegate> delegate) noexcept {
        m_progress = std::move(delegate);
    }

    // Labels. False without a mesh, for one without elements, without mapper and surface, and when the user
    // cancelled; the sub-volumes are then, and out of memory, as they were.
    bool Operate() override;

    // How many regions the last run found; of a cancelled run those up to then.
    unsigned long long GetNbVolumes() const noexcept { return static_cast<unsigned long long>(m_regions); }

private:
    class Filling;
    // The region of each element, from 0.
    using Labels = std::vector<int, KetSDK::Support::MUninitializedAllocator<int>>;

    // The first element in mesh order that is not visited; null when all are. Begins anew each time.
    MMeshElement* _FindSeed(MDataMask<MMeshElement, bool>& visited);
    bool LabelAtOnce(KetSDK::Mesh::Detail::DisjointSets& regions, Labels& labels,
                     KetSDK::Common::IncrementalProgressReporter& reporter);
    void RebuildSubVolumes(Labels const& labels);

    MStlBase* m_stl = nullptr;
    int m_regions = 0;
    std::shared_ptr<KetSDK::Common::IProgressDelegate> m_progress;
};
