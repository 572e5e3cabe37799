// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/KeptVoxels.h>

#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>

namespace KetSDK::Mesh::Detail {

namespace {

class KeptVoxels {
public:
    explicit KeptVoxels(IndexedLabels const& labels)
        : m_labels(labels)
        , m_kept(static_cast<std::size_t>(labels.Size()[0] * labels.Size()[1] * labels.Size()[2]), 0) {}

    // Keeps the voxels of a label whose centres lie in a box of places. Several threads may do so at a time.
    void Keep(LabelIndex label, LabelWeights::Place const& low, LabelWeights::Place const& high) {
        std::int64_t first[3], last[3];
        for (std::size_t axis = 0; axis < 3; ++axis) {
            first[axis] = std::max<std::int64_t>(static_cast<std::int64_t>(std::ceil(low[axis])), 0);
            last[axis] =
                std::min(static_cast<std::int64_t>(std::floor(high[axis])), m_labels.Size()[axis] - 1);
        }
        for (std::int64_t k = first[2]; k <= last[2]; ++k)
            for (std::int64_t j = first[1]; j <= last[1]; ++j)
                for (std::int64_t i = first[0]; i <= last[0]; ++i)
                    if (m_labels.At(i, j, k) == label)
                        std::atomic_ref(m_kept[At(i, j, k)]).store(1, std::memory_order_relaxed);
    }
    bool IsKept(std::int64_t i, std::int64_t j, std::int64_t k) const noexcept { return m_kept[At(i, j, k)]; }

private:
    std::size_t At(std::int64_t i, std::int64_t j, std::int64_t k) const noexcept {
        return static_cast<std::size_t>((k * m_labels.Size()[1] + j) * m_labels.Size()[0] + i);
    }

    IndexedLabels const& m_labels;
    std::vector<std::uint8_t> m_kept;
};

// Keeps the voxels of a tetrahedron's label in the box around it.
void KeepAround(KeptVoxels& kept, MovingMesh const& mesh, std::size_t t, ImageSpace const& space,
                LabelWeights::Place const& margin) {
    if (mesh.labels[t] == 0)
        return;
    LabelWeights::Place low = space.PlaceOf(mesh.positions[mesh.tetrahedra[t][0]]), high = low;
    for (std::uint32_t const node : mesh.tetrahedra[t]) {
        LabelWeights::Place const place = space.PlaceOf(mesh.positions[node]);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], place[axis]);
            high[axis] = std::max(high[axis], place[axis]);
        }
    }
    // Inside a label the boxes of tetrahedra cover all voxels as they are.
    bool const at_interface = std::ranges::any_of(mesh.tetrahedra[t], [&](std::uint32_t node) {
        return mesh.interface[node] != MovingMesh::NoInterface;
    });
    if (at_interface) {
        low -= margin;
        high += margin;
    }
    kept.Keep(mesh.labels[t], low, high);
}

} // namespace

std::vector<std::uint64_t> CountLostVoxels(IndexedLabels const& labels, MovingMesh const& mesh,
                                           ImageSpace const& space, LabelWeights const& weights, double size,
                                           MMVector<double, 3> const& spacing, bool parallel) {
    KeptVoxels kept(labels);
    LabelWeights::Place margin;
    for (std::size_t axis = 0; axis < 3; ++axis)
        margin[axis] = 0.5 * size / spacing[axis];
    Support::WorkSteps steps;
    steps.items = mesh.labels.size();
    steps.step = 4096;
    steps.parallel = parallel;
    Support::ComputeSteps(steps, [&](std::uint64_t first, std::uint64_t last) {
        for (std::uint64_t t = first; t < last; ++t)
            KeepAround(kept, mesh, static_cast<std::size_t>(t), space, margin);
    });
    std::vector<std::uint64_t> lost(labels.Counts().size(), 0);
    for (std::int64_t k = labels.First()[2]; k <= labels.Last()[2]; ++k)
        for (std::int64_t j = labels.First()[1]; j <= labels.Last()[1]; ++j)
            for (std::int64_t i = labels.First()[0]; i <= labels.Last()[0]; ++i) {
                LabelIndex const label = labels.At(i, j, k);
                if (label != 0 && !kept.IsKept(i, j, k) &&
                    !weights.IsPureAt({double(i), double(j), double(k)}))
                    ++lost[label];
            }
    return lost;
}

} // namespace KetSDK::Mesh::Detail
