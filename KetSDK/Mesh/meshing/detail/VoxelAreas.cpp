// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/VoxelAreas.h>

#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace KetSDK::Mesh::Detail {

namespace {

// A face between voxels of two labels, by index, and the axis across it.
struct VoxelFace {
    LabelIndex labels[2];
    std::uint16_t axis;
};

// Finds the faces between voxels of different labels slice by slice.
class VoxelFaces {
public:
    // Those of the voxels of slice k with each other and with the next slice.
    void Find(IndexedLabels const& labels, std::int64_t k) {
        m_faces.clear();
        std::int64_t const before = labels.First()[0] - 1, wide = labels.Last()[0] - before + 2;
        std::size_t const end = wide > 1 ? static_cast<std::size_t>(wide) - 1 : 0;
        for (std::vector<LabelIndex>& row : m_room)
            row.resize(end + 1);
        for (std::int64_t j = labels.First()[1] - 1; j <= labels.Last()[1]; ++j) {
            // This row, the same from its second voxel on, and the next along the second and third axis.
            LabelIndex const* const row = labels.Row(before, j, k, wide, m_room[0].data());
            LabelIndex const* const next[3] = {row + 1, labels.Row(before, j + 1, k, wide, m_room[1].data()),
                                               labels.Row(before, j, k + 1, wide, m_room[2].data())};
            auto const add_faces = [&](std::size_t i) {
                for (std::uint16_t axis = 0; axis < 3; ++axis)
                    if (next[axis][i] != row[i])
                        m_faces.push_back({{row[i], next[axis][i]}, axis});
            };
            constexpr std::size_t Together = 16;
            std::size_t first = 0;
            for (; first + Together <= end; first += Together) {
                unsigned differences = 0;
                for (std::size_t i = first; i < first + Together; ++i)
                    differences |= static_cast<unsigned>((row[i] ^ next[0][i]) | (row[i] ^ next[1][i]) |
                                                         (row[i] ^ next[2][i]));
                for (std::size_t i = first; differences != 0 && i < first + Together; ++i)
                    add_faces(i);
            }
            for (; first < end; ++first)
                add_faces(first);
        }
    }
    std::vector<VoxelFace> const& All() const noexcept { return m_faces; }

private:
    std::vector<VoxelFace> m_faces;
    std::vector<LabelIndex> m_room[3];
};

} // namespace

std::vector<double> VoxelAreas(IndexedLabels const& labels, MLabelImage const& image, bool parallel) {
    std::vector<double> areas(labels.Counts().size(), 0.0);
    double of_face[3];
    for (std::size_t axis = 0; axis < 3; ++axis)
        of_face[axis] = VoxelVolume(image) / image.spacing[axis];
    std::int64_t const before = labels.First()[2] - 1; // the first slice
    Support::ComputeSteps<VoxelFaces>(
        {.items = static_cast<std::uint64_t>(std::max<std::int64_t>(labels.Last()[2] - before + 1, 0)),
         .parallel = parallel,
         .window = 16},
        [&](std::uint64_t slice, std::uint64_t, VoxelFaces& faces) {
            faces.Find(labels, before + static_cast<std::int64_t>(slice));
        },
        [&](std::uint64_t, std::uint64_t, VoxelFaces const& faces) {
            for (VoxelFace const& face : faces.All())
                for (LabelIndex const label : face.labels)
                    areas[label] += of_face[face.axis];
            return true;
        });
    return areas;
}

} // namespace KetSDK::Mesh::Detail
