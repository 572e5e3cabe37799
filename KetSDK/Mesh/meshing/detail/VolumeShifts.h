// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/meshing/detail/MovingMesh.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

// How far interfaces are moved so that labels get the volume of their voxels. Flat triangles and nodes that
// angles hold back take volume from what is round; moving all of an interface by the same way gives it back.
class VolumeShifts {
public:
    // `wanted`: the volume of each label by index, cubic internal units; that outside does not count. No
    // interface is moved by more than `largest`, internal units.
    VolumeShifts(std::vector<double> wanted, double largest)
        : m_wanted(std::move(wanted))
        , m_largest(largest)
        , m_shifts(m_wanted.size(), 0.0) {}

    // Adds what the labels lack now, or have too much. The way of an interface is the difference of a number
    // for each of its labels, since what one label gains there the other one loses.
    void Correct(MovingMesh const& mesh);
    // How far the interface of two labels is moved out of the first one and into the second.
    double Between(LabelIndex a, LabelIndex b) const noexcept {
        return std::clamp(m_shifts[a] - m_shifts[b], -m_largest, m_largest);
    }

private:
    struct Neighbour {
        LabelIndex label;
        double area; // of the interface with it
    };
    using Interfaces = std::vector<std::vector<Neighbour>>; // by label

    static Interfaces FindInterfaces(MovingMesh const& mesh, std::size_t labels);
    std::vector<double> Lacking(MovingMesh const& mesh) const;

    std::vector<double> m_wanted;
    double m_largest;
    std::vector<double> m_shifts; // by label; 0 outside
};

} // namespace KetSDK::Mesh::Detail
