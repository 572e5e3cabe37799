// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/geometry/QualityMetric.h>

#include <span>
#include <string_view>

namespace KetSDK::Mesh {

// What the values of a quality metric have to be at least or at most.
struct QualityLimit {
    enum class Sense { AtLeast, AtMost };

    QualityMetric const* metric = nullptr;
    Sense sense = Sense::AtLeast;
    double value = 0.0;
    unsigned char kinds = QualityMetric::AllKinds; // of elements that it holds for

    // False for a value that is not a number, and for one that tells of a fault by itself.
    bool Holds(double v) const noexcept {
        return (sense == Sense::AtLeast ? v >= value : v <= value) && !metric->IsFault(v);
    }
    friend bool operator==(QualityLimit const&, QualityLimit const&) = default;
};

// The limits that the documentation of a solver gives for the shape of elements, as far as a metric here
// measures the same.
struct QualityLimitSet {
    std::string_view name;   // "abaqus"
    std::string_view solver; // for people
    std::span<QualityLimit const> limits;
    std::string_view source;
    std::string_view note; // what was left out or stands in for something
};

// All sets. Their metrics are never null.
KETSDK_MESH_API std::span<QualityLimitSet const> QualityLimitSets();
// The set of that name; null when there is none.
KETSDK_MESH_API QualityLimitSet const* FindQualityLimitSet(std::string_view name);

} // namespace KetSDK::Mesh
