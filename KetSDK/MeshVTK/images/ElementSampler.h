// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/ImageSampling.h>
#include <KetSDK/MeshVTK/images/CurvedTetrahedron.h>
#include <KetSDK/MeshVTK/images/ImageFrame.h>
#include <KetSDK/MeshVTK/images/TetrahedronRule.h>
#include <KetSDK/MeshVTK/images/VoxelField.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>

namespace KetSDK::MeshVTK::Detail {

// What is known of some elements after sampling, to be added up in their order.
struct SamplingSums {
    std::uint64_t outside = 0;
    std::uint64_t fallbacks = 0;
    std::uint64_t not_finite = 0;
    std::uint64_t values = 0; // elements with a grey value of their own
    double smallest = std::numeric_limits<double>::infinity();
    double largest = -std::numeric_limits<double>::infinity();
    double sum = 0.0;
    double volume = 0.0; // in any unit
    double outside_volume = 0.0;

    void Add(SamplingSums const& other) noexcept;
};

// What tells whether an element is outside, and how much of the mesh it is.
struct ElementMeasure {
    VoxelPosition centroid; // of the corners, in internal units
    // Six times the volume in cubic internal units, without sign; of a curved element that of its corners.
    double six_volumes;
};
ElementMeasure MeasureOf(MMeshElement const& element) noexcept;

// An element in the image: its nodes as positions there.
class ElementInVoxels {
public:
    ElementInVoxels(MMeshElement const& element, ImageFrame const& frame) noexcept;

    bool IsCurved() const noexcept { return m_count == 10; }
    CurvedTetrahedron Curved() const noexcept { return CurvedTetrahedron(m_places); }
    // The tetrahedra that a straight-sided element is cut into.
    unsigned int TetrahedronCount() const noexcept {
        return MMeshElementDescriptor::GetNumTetraOfElement(m_count);
    }
    std::array<VoxelPosition, 4> Tetrahedron(unsigned int i) const noexcept;

private:
    unsigned char m_count;
    std::array<VoxelPosition, 10> m_places;
};

// The voxels that lie in a box, which may reach out of the image.
struct VoxelBox {
    std::array<std::int64_t, 3> first, last;
    VoxelBox(VoxelPosition const& lower, VoxelPosition const& upper, ImageFrame const& frame) noexcept;
};

// Some voxels of a row along the first axis, those from first to last; none when last comes before first.
struct VoxelRun {
    double first = 0.0, last = -1.0;
};

// The voxels of a row whose centres are in a tetrahedron. Its faces are part of it, by a margin against
// rounding, so that a centre on a face between two elements is in both.
class TetrahedronRows {
public:
    TetrahedronRows() = default; // of no tetrahedron
    explicit TetrahedronRows(std::array<VoxelPosition, 4> const& corners) noexcept;
    VoxelRun InRow(double j, double k) const noexcept;

private:
    std::array<VoxelPosition, 4> m_gradients; // of the barycentric coordinates
    VoxelPosition m_origin;
    bool m_flat = true;
};

// The voxels whose centres are in a straight-sided element.
class VoxelsOfElement {
public:
    VoxelsOfElement(ElementInVoxels const& element, ImageFrame const& frame) noexcept;

    // Calls visit(first, last, j, k) for runs of voxels in rows; each voxel is in one run only, also when
    // it is in several of the element's tetrahedra.
    template <typename Visit>
    void ForEachRun(Visit const& visit) const {
        for (std::int64_t k = m_box.first[2]; k <= m_box.last[2]; ++k)
            for (std::int64_t j = m_box.first[1]; j <= m_box.last[1]; ++j) {
                Runs runs;
                unsigned int const count = RunsInRow(static_cast<double>(j), static_cast<double>(k), runs);
                std::int64_t next = m_box.first[0];
                for (unsigned int i = 0; i < count; ++i) {
                    auto const first =
                        static_cast<std::int64_t>(std::max(runs[i].first, static_cast<double>(next)));
                    auto const last =
                        static_cast<std::int64_t>(std::min(runs[i].last, static_cast<double>(m_box.last[0])));
                    if (first <= last)
                        visit(first, last, j, k);
                    next = std::max(next, last + 1);
                }
            }
    }

private:
    static constexpr unsigned int MostTetrahedra = 6; // of a hexahedron
    using Runs = std::array<VoxelRun, MostTetrahedra>;

    static VoxelBox BoxOf(ElementInVoxels const& element, ImageFrame const& frame) noexcept;
    // The runs in the tetrahedra that touch the box, sorted by their first voxels; returns how many.
    unsigned int RunsInRow(double j, double k, Runs& runs) const noexcept;

    VoxelBox m_box;
    unsigned int m_count;
    std::array<TetrahedronRows, MostTetrahedra> m_tetrahedra;
};

// Takes grey values from an image whose voxels are of type T. Changes nothing: safe from any thread.
template <typename T>
class ElementSampler {
public:
    ElementSampler(T const* voxels, ImageFrame const& frame, SamplingOptions const& options)
        : m_frame(frame)
        , m_field(voxels, frame.Size())
        , m_options(options)
        , m_rule(TetrahedronRule(options.order)) {}

    // Values of elements first to last - 1; those of the law only when there is room for them.
    SamplingSums Sample(MMeshBase const& mesh, std::uint64_t first, std::uint64_t last, double* grey,
                        double* law) const {
        SamplingSums sums;
        if (m_options.mode == SamplingMode::Centroid)
            for (std::uint64_t batch = first; batch < last; batch += BatchSize, grey += BatchSize) {
                SampleCentroids(mesh, batch, std::min(batch + BatchSize, last), grey, law, sums);
                law = law ? law + BatchSize : nullptr;
            }
        else
            mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t) {
                Mean mean{m_options.law};
                ElementMeasure const measure = MeasureOf(e);
                VoxelPosition const centroid = m_frame.Place(measure.centroid);
                if (Enter(centroid, measure.six_volumes, sums))
                    TakeElement(e, centroid, mean, sums);
                Finish(mean, grey++, law ? law++ : nullptr, sums);
            });
        return sums;
    }

private:
    // Elements whose voxels are on their way at the same time.
    static constexpr std::uint64_t BatchSize = 32;

    // Weighted sums over the samples of one element.
    struct Mean {
        GreyLaw const& law_to_use;
        double weight = 0.0, grey = 0.0, law = 0.0;

        void Add(double w, double value) {
            if constexpr (std::is_floating_point_v<T>)
                if (!std::isfinite(value))
                    return;
            weight += w;
            grey += w * value;
            if (law_to_use.value)
                law += w * law_to_use.value(value, law_to_use.context);
        }
        bool HasValue() const noexcept { return weight > 0.0; }
    };

    // The voxels that are needed lie anywhere in memory: all are asked for before the first is used.
    void SampleCentroids(MMeshBase const& mesh, std::uint64_t first, std::uint64_t last, double* grey,
                         double* law, SamplingSums& sums) const {
        std::array<VoxelPosition, BatchSize> places;
        std::array<double, BatchSize> volumes;
        mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t number) {
            auto const i = static_cast<std::size_t>(number - first);
            ElementMeasure const measure = MeasureOf(e);
            places[i] = m_frame.Place(measure.centroid);
            volumes[i] = measure.six_volumes;
            m_field.Prefetch(places[i]);
        });
        for (std::size_t i = 0; i < last - first; ++i) {
            Mean mean{m_options.law};
            if (Enter(places[i], volumes[i], sums)) {
                mean.Add(1.0, m_field.At(places[i]));
                sums.not_finite += !mean.HasValue();
            }
            Finish(mean, grey++, law ? law++ : nullptr, sums);
        }
    }

    // Counts an element in. False when it is outside.
    bool Enter(VoxelPosition const& centroid, double volume, SamplingSums& sums) const {
        bool const inside = m_frame.Contains(centroid);
        sums.volume += volume;
        sums.outside += !inside;
        sums.outside_volume += inside ? 0.0 : volume;
        return inside;
    }

    void TakeElement(MMeshElement const& e, VoxelPosition const& centroid, Mean& mean,
                     SamplingSums& sums) const {
        ElementInVoxels const element(e, m_frame);
        if (m_options.mode == SamplingMode::Voxels)
            AddVoxels(element, mean);
        else
            AddByRule(element, mean);
        if (mean.HasValue())
            return;
        AddByRule(element, mean);
        if (!mean.HasValue())
            mean.Add(1.0, m_field.At(centroid));
        ++(mean.HasValue() ? sums.fallbacks : sums.not_finite);
    }

    void Finish(Mean const& mean, double* grey, double* law, SamplingSums& sums) const {
        bool const has_value = mean.HasValue();
        *grey = has_value ? mean.grey / mean.weight : m_options.outside_value;
        if (law)
            *law = has_value ? mean.law / mean.weight
                             : m_options.law.value(m_options.outside_value, m_options.law.context);
        if (!has_value)
            return;
        ++sums.values;
        sums.sum += *grey;
        sums.smallest = std::min(sums.smallest, *grey);
        sums.largest = std::max(sums.largest, *grey);
    }

    void AddPoint(VoxelPosition const& place, double weight, Mean& mean) const {
        if (m_frame.Contains(place))
            mean.Add(weight, m_field.At(place));
    }

    void AddByRule(ElementInVoxels const& element, Mean& mean) const {
        if (element.IsCurved()) {
            CurvedTetrahedron const curved = element.Curved();
            for (RulePoint const& p : m_rule) {
                // A folded element has determinants of both signs: all of them take up volume.
                auto const point = curved.At(p.place);
                AddPoint(point.position, p.weight * std::fabs(point.Determinant()), mean);
            }
            return;
        }
        for (unsigned int t = 0; t < element.TetrahedronCount(); ++t) {
            auto const c = element.Tetrahedron(t);
            double const volume = std::fabs((c[1] - c[0]).Dot((c[2] - c[0]).Cross(c[3] - c[0])));
            for (RulePoint const& p : m_rule)
                AddPoint(c[0] * p.place[0] + c[1] * p.place[1] + c[2] * p.place[2] + c[3] * p.place[3],
                         p.weight * volume, mean);
        }
    }

    void AddRun(T const* row, std::int64_t first, std::int64_t last, Mean& mean) const {
        for (std::int64_t i = first; i <= last; ++i)
            mean.Add(1.0, static_cast<double>(row[i]));
    }

    void AddVoxels(ElementInVoxels const& element, Mean& mean) const {
        auto const add = [&](std::int64_t first, std::int64_t last, std::int64_t j, std::int64_t k) {
            AddRun(m_field.Row(j, k), first, last, mean);
        };
        if (!element.IsCurved())
            return VoxelsOfElement(element, m_frame).ForEachRun(add);
        CurvedTetrahedron const curved = element.Curved();
        CurvedInterior const interior(curved);
        auto const [lower, upper] = curved.Box();
        VoxelBox const box(lower, upper, m_frame);
        for (std::int64_t k = box.first[2]; k <= box.last[2]; ++k)
            for (std::int64_t j = box.first[1]; j <= box.last[1]; ++j)
                for (std::int64_t i = box.first[0]; i <= box.last[0]; ++i)
                    if (interior.Contains(VoxelPosition(static_cast<double>(i), static_cast<double>(j),
                                                        static_cast<double>(k))))
                        add(i, i, j, k);
    }

    ImageFrame const& m_frame;
    VoxelField<T> m_field;
    SamplingOptions const& m_options;
    std::span<RulePoint const> m_rule;
};

} // namespace KetSDK::MeshVTK::Detail
