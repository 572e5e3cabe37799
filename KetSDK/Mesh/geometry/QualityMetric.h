// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/geometry/MMeshQualityAnalysisOperator.h>

#include <span>
#include <string_view>

class MMeshBase;

namespace KetSDK::Mesh {

// What is known of one quality metric. The table of all of them is what the analysis operator takes its
// rules from, what programs list, and what the documentation is made from.
struct QualityMetric {
    // The range of the histogram. `largest` is the largest value; each upper end is capped by the
    // operator's bound, but for that of Values.
    enum class Range {
        Unit,    // 0 to 1
        Largest, // 0 to the largest value
        Angle,   // 0 to 180
        Values,  // smallest to largest value
    };
    // What the operator's IsBetterThan goes by.
    enum class Sense { None, Higher, Lower };
    // Which values to look at first when bad elements are searched for. Known for every metric, also where
    // IsBetterThan knows of no sense, and apart from it where that is no help. Folded elements have a low
    // Jacobian.
    enum class Worst {
        Lowest,
        Highest,
        NegativeThenHighest, // negative values mark a fault of their own
    };

    // Kinds of elements, as bits.
    enum Kinds : unsigned char {
        Tetrahedra = 1,
        Wedges = 2,
        Hexahedra = 4,
        WedgesAndHexahedra = 6,
        AllKinds = 7
    };

    MMeshQualityAnalysisOperator::QualityType type;
    std::string_view name;       // that of the enumerator
    std::string_view definition; // in words and symbols
    std::string_view unit;       // "mm", "mm2", "mm3", "deg"; empty for a pure number
    std::string_view values;     // what values correctly oriented elements can have, as an interval
    Range range;
    Sense sense;
    Worst worst;
    // Sees the mid-edge nodes; all others see the corners alone, but for volumes of curved elements. A folded
    // element is bad by each of these, whatever its value: MinJacobianDeterminant and JacobianRatio can miss
    // the fold between their points.
    bool quadratic;
    // The best value, that of the regular tetrahedron with edges of 1 where size matters; and the values on
    // three faulty elements made from it. Those are the mirrored one (two corners exchanged), the flat one
    // (the corners of a square with sides of 1), and one with a coordinate that is not a number. Straight
    // edges where the metric is for quadratic elements. The size of a value says nothing of the fault where
    // the faulty element scores as a good one does.
    // Of a metric that does not measure tetrahedra: those of the unit cube, of it turned inside out and of it
    // pressed flat; no mesh has the last.
    double best;
    double inverted;
    double flat;
    double nonfinite;
    std::string_view source;          // in the literature
    unsigned char kinds = Tetrahedra; // what it measures

    // Whether a value tells of a fault whatever threshold a user sets: JacobianRatio is -100 for an element
    // that folds at the points it looks at, and Folded is 1.
    KETSDK_MESH_API bool IsFault(double value) const noexcept;
};

// All metrics in the order of their numbers.
KETSDK_MESH_API std::span<QualityMetric const> QualityMetrics() noexcept;
// The metric with that number or name; null when there is none.
KETSDK_MESH_API QualityMetric const* FindQualityMetric(int type) noexcept;
KETSDK_MESH_API QualityMetric const* FindQualityMetric(std::string_view name) noexcept;

// The kind of an element with so many nodes; others than hexahedra and wedges count as tetrahedra.
constexpr unsigned char KindOf(unsigned char nodes) noexcept {
    return nodes == 8   ? QualityMetric::Hexahedra
           : nodes == 6 ? QualityMetric::Wedges
                        : QualityMetric::Tetrahedra;
}
// The kinds of elements that a mesh has, as bits of QualityMetric::Kinds.
KETSDK_MESH_API unsigned char KindsOf(MMeshBase const& mesh);
// Whether the metric measures all these kinds.
inline bool MeasuresAll(QualityMetric const& metric, unsigned char kinds) noexcept {
    return (kinds & ~metric.kinds) == 0;
}
// Whether the mesh has what the metric measures: elements of its kinds alone, and quadratic tetrahedra for
// JacobianDistortion. Walks over all elements.
KETSDK_MESH_API bool HasMetric(MMeshBase const& mesh, QualityMetric const& metric);

} // namespace KetSDK::Mesh
