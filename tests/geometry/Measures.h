// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>

#include <stdexcept>
#include <string>
#include <vector>

// Every scalar measure of a tetrahedron by name, for tests that hold for all of them.
template <typename T>
struct Measure {
    std::string name;
    double (*value)(TetrahedronBase<T>&);
};

template <typename T, bool largest>
double FaceArea(TetrahedronBase<T>& t) {
    double low, high;
    t.GetMinMaxArea(low, high);
    return largest ? high : low;
}

template <typename T>
std::vector<Measure<T>> AllMeasures() {
    using Tetrahedron = TetrahedronBase<T>;
    std::vector<Measure<T>> all = {{"smallest face area", FaceArea<T, false>},
                                   {"largest face area", FaceArea<T, true>}};
#define KETSDK_MEASURE(name) all.push_back({#name, [](Tetrahedron& t) -> double { return t.name(); }});
#define KETSDK_MEASURES(a, b, c, d) KETSDK_MEASURE(a) KETSDK_MEASURE(b) KETSDK_MEASURE(c) KETSDK_MEASURE(d)
    KETSDK_MEASURES(Volume, QualitySpheres, QualityInsphereEdge, QualityMeanRatio)
    KETSDK_MEASURES(QualityAspectRatio, QualityAspectRatioTetgen, QualityRadiusEdgeTetgen, RadiusInsphere)
    KETSDK_MEASURES(QualityEquiAngleSkew, QualityEquiDihedralAngleSkew, QualityEdgeMinMax, QualityEdgeMaxMin)
    KETSDK_MEASURES(QualityJacobian, QualityScaledJacobian, QualityMinFacangle, QualityMaxFacangle)
    KETSDK_MEASURES(QualityEquiSizeSkew, QualityAbacusShapeFactor, QualityAnsysElementQuality, GetMinHeight)
    KETSDK_MEASURES(QualityMinCornerAngle, QualityMaxCornerAngle, GetMinEdgeLength, GetMaxEdgeLength)
    KETSDK_MEASURES(RadiusCircumsphere, GetCosLargestMidAngle, GetMinCosDihedralAngle, GetMaxCosDihedralAngle)
    KETSDK_MEASURE(QualityFluentOrthogonalQuality)
#undef KETSDK_MEASURES
#undef KETSDK_MEASURE
    return all;
}

// The value of one measure by its name.
template <typename T>
double Value(TetrahedronBase<T> tetrahedron, std::string const& name) {
    for (Measure<T> const& measure : AllMeasures<T>())
        if (measure.name == name)
            return measure.value(tetrahedron);
    throw std::invalid_argument("no measure " + name);
}
