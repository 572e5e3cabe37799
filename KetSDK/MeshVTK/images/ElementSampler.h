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
#include <memory>
#include <optional>
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
    std::uint64_t unknown = NoElement; // the first element of no known kind

    static constexpr std::uint64_t NoElement = std::numeric_limits<std::uint64_t>::max();

    void Add(SamplingSums const& other) noexcept;
};

// What tells whether an element is outside, and how much of the mesh it is.
struct ElementMeasure {
    VoxelPosition centroid; // of the corners, in internal units
    // Six times the volume in cubic internal units, without sign; of a curved element that of its corners.
    double six_volumes;
};
// Of no known kind of element: a centroid that is no number.
ElementMeasure MeasureByTables(MMeshElement const& element) noexcept;

// Positions in internal units: differences and sums of a few are exact.
inline VoxelPosition PositionOf(MMeshPoint const& p) noexcept {
    return {static_cast<double>(p.x), static_cast<double>(p.y), static_cast<double>(p.z)};
}
// Always inlined, like what else every sample takes: passing positions takes as long as the arithmetic.
[[gnu::always_inline]] inline double SixVolumes(VoxelPosition const& a, VoxelPosition const& b,
                                                VoxelPosition const& c, VoxelPosition const& d) noexcept {
    return (b - a).Dot((c - a).Cross(d - a));
}
[[gnu::always_inline]] inline ElementMeasure MeasureOf(MMeshElement const& element) noexcept {
    if (element.GetNodeCount() != 4 && element.GetNodeCount() != 10)
        return MeasureByTables(element);
    auto const node = [&element](unsigned int i) { return PositionOf(*element.GetNode(i)); };
    VoxelPosition const a = node(0), b = node(1), c = node(2), d = node(3);
    return {(a + b + c + d) * 0.25, std::fabs(SixVolumes(a, b, c, d))};
}

// Tetrahedra that a straight-sided element is cut into at most: those of a hexahedron.
constexpr unsigned int MostTetrahedra = 6;

// An element in the image: its nodes as positions there.
class ElementInVoxels {
public:
    ElementInVoxels(MMeshElement const& element, ImageFrame const& frame) noexcept;

    bool IsCurved() const noexcept { return m_count == 10; }
    CurvedTetrahedron Curved() const noexcept { return CurvedTetrahedron(m_nodes); }
    // The tetrahedra that a straight-sided element is cut into.
    unsigned int TetrahedronCount() const noexcept {
        return MMeshElementDescriptor::GetNumTetraOfElement(m_count);
    }
    std::array<VoxelPosition, 4> Tetrahedron(unsigned int i) const noexcept;

private:
    unsigned char m_count;
    std::array<VoxelPosition, 10> m_nodes;
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

    // The box of the element, in which all of them are.
    VoxelBox const& Box() const noexcept { return m_box; }
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
        // The more of an element is fetched, the fewer elements are on their way.
        switch (m_options.mode) {
        case SamplingMode::Centroid: {
            std::array<LocatedCentroid, 16> ring;
            SampleThrough(ring, mesh, first, last, grey, law, sums);
            break;
        }
        case SamplingMode::Mean: {
            std::array<LocatedPoints, 8> ring;
            std::size_t const most = MostTetrahedra * m_rule.size();
            auto const points = std::make_unique_for_overwrite<WeightedCell[]>(ring.size() * most);
            for (std::size_t i = 0; i < ring.size(); ++i)
                ring[i].points = &points[i * most];
            SampleThrough(ring, mesh, first, last, grey, law, sums);
            break;
        }
        case SamplingMode::Voxels: {
            std::array<LocatedVoxels, 4> ring;
            SampleThrough(ring, mesh, first, last, grey, law, sums);
            break;
        }
        }
        return sums;
    }

private:
    using Cell = typename VoxelField<T>::Cell;

    // An element whose voxels were asked for and not yet used; of one outside nothing else is known.
    struct Located {
        double six_volumes;
        bool inside;
    };
    struct LocatedCentroid : Located {
        Cell cell;
    };
    struct WeightedCell {
        Cell cell;
        double weight;
    };
    struct LocatedPoints : Located {
        VoxelPosition centroid;
        unsigned int count;
        WeightedCell* points; // of the rule, those that are in the image
    };
    struct LocatedVoxels : Located {
        VoxelPosition centroid;
        MMeshElement const* element;
        std::optional<VoxelsOfElement> voxels; // of a straight-sided element
    };

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

    // Voxels lie anywhere in memory. Those of an element are asked for when it is located, and used when the
    // ring has gone round.
    template <typename AnyLocated, std::size_t Ahead>
    void SampleThrough(std::array<AnyLocated, Ahead>& ring, MMeshBase const& mesh, std::uint64_t first,
                       std::uint64_t last, double* grey, double* law, SamplingSums& sums) const {
        auto const take = [&](AnyLocated const& located) {
            Take(located, grey++, law ? law++ : nullptr, sums);
        };
        mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t number) {
            AnyLocated& located = ring[number % Ahead];
            if (number >= first + Ahead)
                take(located);
            ElementMeasure const measure = MeasureOf(e);
            VoxelPosition const centroid = m_frame.PositionOf(measure.centroid);
            located.six_volumes = measure.six_volumes;
            // The centroid of no known kind is not a number: it lies nowhere, and no node is looked at.
            located.inside = m_frame.Contains(centroid);
            if (located.inside)
                Locate(e, centroid, located);
            if (MMeshElementDescriptor::GetNumSimpleNodes(e.GetNodeCount()) == 0)
                sums.unknown = std::min(sums.unknown, number);
        });
        for (std::uint64_t number = std::max(first + Ahead, last) - Ahead; number < last; ++number)
            take(ring[number % Ahead]);
    }

    void Locate(MMeshElement const&, VoxelPosition const& centroid, LocatedCentroid& located) const {
        m_field.FindCell(centroid, located.cell);
        m_field.Prefetch(located.cell);
    }
    void Locate(MMeshElement const& e, VoxelPosition const& centroid, LocatedPoints& located) const {
        located.centroid = centroid;
        located.count = 0;
        ForEachPoint(ElementInVoxels(e, m_frame), [&](VoxelPosition const& position, double weight) {
            WeightedCell& point = located.points[located.count++];
            m_field.FindCell(position, point.cell);
            point.weight = weight;
            m_field.Prefetch(point.cell);
        });
    }
    void Locate(MMeshElement const& e, VoxelPosition const& centroid, LocatedVoxels& located) const {
        located.centroid = centroid;
        located.element = &e;
        located.voxels.reset();
        ElementInVoxels const element(e, m_frame);
        if (!element.IsCurved())
            PrefetchRows(located.voxels.emplace(element, m_frame).Box());
    }

    // Not for a large element: its voxels lie one behind the other, and would push those of others out.
    [[gnu::always_inline]] void PrefetchRows(VoxelBox const& box) const {
        constexpr std::int64_t most = 64;
        if ((box.last[1] - box.first[1] + 1) * (box.last[2] - box.first[2] + 1) > most)
            return;
        for (std::int64_t k = box.first[2]; k <= box.last[2]; ++k)
            for (std::int64_t j = box.first[1]; j <= box.last[1]; ++j) {
                T const* const row = m_field.Row(j, k);
                Support::Prefetch(row + box.first[0]);
                Support::Prefetch(row + box.last[0]);
            }
    }

    void Take(auto const& located, double* grey, double* law, SamplingSums& sums) const {
        Mean mean{m_options.law};
        sums.volume += located.six_volumes;
        sums.outside += !located.inside;
        sums.outside_volume += located.inside ? 0.0 : located.six_volumes;
        if (located.inside)
            AddValues(located, mean, sums);
        Finish(mean, grey, law, sums);
    }

    void AddValues(LocatedCentroid const& located, Mean& mean, SamplingSums& sums) const {
        mean.Add(1.0, m_field.At(located.cell));
        sums.not_finite += !mean.HasValue();
    }
    void AddValues(LocatedPoints const& located, Mean& mean, SamplingSums& sums) const {
        for (unsigned int i = 0; i < located.count; ++i)
            mean.Add(located.points[i].weight, m_field.At(located.points[i].cell));
        if (!mean.HasValue())
            FallBack(located.centroid, mean, sums);
    }
    void AddValues(LocatedVoxels const& located, Mean& mean, SamplingSums& sums) const {
        AddVoxels(located, mean);
        if (mean.HasValue())
            return;
        ForEachPoint(
            ElementInVoxels(*located.element, m_frame),
            [&](VoxelPosition const& position, double weight) { mean.Add(weight, m_field.At(position)); });
        FallBack(located.centroid, mean, sums);
    }
    // For an element that was to have another value than that at its centroid.
    void FallBack(VoxelPosition const& centroid, Mean& mean, SamplingSums& sums) const {
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

    // Calls visit(position, weight) for the points of the rule in an element that are in the image.
    template <typename Visit>
    void ForEachPoint(ElementInVoxels const& element, Visit const& visit) const {
        auto const visit_inside = [&](VoxelPosition const& position, double weight) {
            if (m_frame.Contains(position))
                visit(position, weight);
        };
        if (element.IsCurved()) {
            CurvedTetrahedron const curved = element.Curved();
            for (RulePoint const& p : m_rule) {
                // A folded element has determinants of both signs: all of them take up volume.
                auto const point = curved.At(p.coordinates);
                visit_inside(point.position, p.weight * std::fabs(point.Determinant()));
            }
            return;
        }
        for (unsigned int t = 0; t < element.TetrahedronCount(); ++t) {
            auto const c = element.Tetrahedron(t);
            double const volume = std::fabs((c[1] - c[0]).Dot((c[2] - c[0]).Cross(c[3] - c[0])));
            for (RulePoint const& p : m_rule)
                visit_inside(c[0] * p.coordinates[0] + c[1] * p.coordinates[1] + c[2] * p.coordinates[2] +
                                 c[3] * p.coordinates[3],
                             p.weight * volume);
        }
    }

    void AddRun(T const* row, std::int64_t first, std::int64_t last, Mean& mean) const {
        for (std::int64_t i = first; i <= last; ++i)
            mean.Add(1.0, static_cast<double>(row[i]));
    }

    void AddVoxels(LocatedVoxels const& located, Mean& mean) const {
        auto const add = [&](std::int64_t first, std::int64_t last, std::int64_t j, std::int64_t k) {
            AddRun(m_field.Row(j, k), first, last, mean);
        };
        if (located.voxels)
            return located.voxels->ForEachRun(add);
        CurvedTetrahedron const curved = ElementInVoxels(*located.element, m_frame).Curved();
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
