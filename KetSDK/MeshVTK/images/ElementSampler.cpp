// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/images/ElementSampler.h>

namespace KetSDK::MeshVTK::Detail {

namespace {

// Barycentric coordinates above this count as not negative.
constexpr double Inside = -1e-9;
// A box is taken a little larger than it is, for what counts as inside by that margin.
constexpr double BoxMargin = 1e-6;

} // namespace

void SamplingSums::Add(SamplingSums const& other) noexcept {
    outside += other.outside;
    fallbacks += other.fallbacks;
    not_finite += other.not_finite;
    values += other.values;
    smallest = std::min(smallest, other.smallest);
    largest = std::max(largest, other.largest);
    sum += other.sum;
    volume += other.volume;
    outside_volume += other.outside_volume;
    unknown = std::min(unknown, other.unknown);
}

ElementMeasure MeasureByTables(MMeshElement const& element) noexcept {
    auto const node = [&element](unsigned int i) { return PositionOf(*element.GetNode(i)); };
    unsigned char const count = MMeshElementDescriptor::GetNumSimpleNodes(element.GetNodeCount());
    VoxelPosition sum;
    for (unsigned int i = 0; i < count; ++i)
        sum += node(i);
    double volumes = 0.0;
    for (unsigned char t = 0; t < MMeshElementDescriptor::GetNumTetraOfElement(count); ++t) {
        auto const corner = [&](unsigned char vertex) {
            return node(MMeshElementDescriptor::GetOffsetForTetra(count, t, vertex));
        };
        volumes += SixVolumes(corner(0), corner(1), corner(2), corner(3));
    }
    return {sum / static_cast<double>(count), std::fabs(volumes)};
}

ElementInVoxels::ElementInVoxels(MMeshElement const& element, ImageFrame const& frame) noexcept
    : m_count(element.GetNodeCount()) {
    for (unsigned int i = 0; i < m_count; ++i) {
        m_nodes[i] = frame.PositionOf(PositionOf(*element.GetNode(i)));
    }
}

std::array<VoxelPosition, 4> ElementInVoxels::Tetrahedron(unsigned int i) const noexcept {
    auto const corner = [&](unsigned char vertex) -> VoxelPosition const& {
        return m_nodes[MMeshElementDescriptor::GetOffsetForTetra(m_count, static_cast<unsigned char>(i),
                                                                 vertex)];
    };
    return {corner(0), corner(1), corner(2), corner(3)};
}

TetrahedronRows::TetrahedronRows(std::array<VoxelPosition, 4> const& corners) noexcept
    : m_origin(corners[0])
    , m_flat(false) {
    VoxelPosition const a = corners[1] - corners[0];
    VoxelPosition const b = corners[2] - corners[0];
    VoxelPosition const c = corners[3] - corners[0];
    double const determinant = a.Dot(b.Cross(c));
    m_flat = !(std::fabs(determinant) > std::numeric_limits<double>::min());
    m_gradients[1] = b.Cross(c) / determinant;
    m_gradients[2] = c.Cross(a) / determinant;
    m_gradients[3] = a.Cross(b) / determinant;
    m_gradients[0] = -(m_gradients[1] + m_gradients[2] + m_gradients[3]);
}

VoxelRun TetrahedronRows::InRow(double j, double k) const noexcept {
    if (m_flat)
        return {};
    double lower = -std::numeric_limits<double>::infinity();
    double upper = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < 4; ++i) {
        VoxelPosition const& g = m_gradients[i];
        double const at_zero = g[1] * (j - m_origin[1]) + g[2] * (k - m_origin[2]) - g[0] * m_origin[0] +
                               (i == 0 ? 1.0 : 0.0) - Inside;
        double const zero = -at_zero / g[0];
        if (g[0] > 0.0)
            lower = std::max(lower, zero);
        else if (g[0] < 0.0)
            upper = std::min(upper, zero);
        else if (at_zero < 0.0)
            return {};
    }
    return {std::ceil(lower), std::floor(upper)};
}

VoxelBox::VoxelBox(VoxelPosition const& lower, VoxelPosition const& upper, ImageFrame const& frame) noexcept {
    for (std::size_t i = 0; i < 3; ++i) {
        double const end = static_cast<double>(frame.Size()[i]);
        first[i] = static_cast<std::int64_t>(std::clamp(std::ceil(lower[i] - BoxMargin), 0.0, end));
        last[i] = static_cast<std::int64_t>(std::clamp(std::floor(upper[i] + BoxMargin), -1.0, end - 1.0));
    }
}

VoxelsOfElement::VoxelsOfElement(ElementInVoxels const& element, ImageFrame const& frame) noexcept
    : m_box(BoxOf(element, frame))
    , m_count(element.TetrahedronCount()) {
    for (unsigned int t = 0; t < m_count; ++t)
        m_tetrahedra[t] = TetrahedronRows(element.Tetrahedron(t));
}

VoxelBox VoxelsOfElement::BoxOf(ElementInVoxels const& element, ImageFrame const& frame) noexcept {
    VoxelPosition lower = element.Tetrahedron(0)[0];
    VoxelPosition upper = lower;
    for (unsigned int t = 0; t < element.TetrahedronCount(); ++t)
        for (VoxelPosition const& corner : element.Tetrahedron(t))
            for (std::size_t i = 0; i < 3; ++i) {
                lower[i] = std::min(lower[i], corner[i]);
                upper[i] = std::max(upper[i], corner[i]);
            }
    return VoxelBox(lower, upper, frame);
}

unsigned int VoxelsOfElement::RunsInRow(double j, double k, Runs& runs) const noexcept {
    unsigned int count = 0;
    for (unsigned int t = 0; t < m_count; ++t) {
        VoxelRun const run = m_tetrahedra[t].InRow(j, k);
        bool const touches = run.first <= static_cast<double>(m_box.last[0]) &&
                             run.last >= static_cast<double>(m_box.first[0]) && run.first <= run.last;
        if (!touches)
            continue;
        unsigned int at = count++;
        for (; at > 0 && runs[at - 1].first > run.first; --at)
            runs[at] = runs[at - 1];
        runs[at] = run;
    }
    return count;
}

} // namespace KetSDK::MeshVTK::Detail
