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

#define KETSDK_MEASURE(name)                                                                                 \
    {                                                                                                        \
#name, [](TetrahedronBase <T> & t) -> double { return t.name(); }                                    \
    }

template <typename T>
std::vector<Measure<T>> AllMeasures() {
    return {
        KETSDK_MEASURE(Volume),
        KETSDK_MEASURE(QualitySpheres),
        KETSDK_MEASURE(QualityInsphereEdge),
        KETSDK_MEASURE(QualityMeanRatio),
        KETSDK_MEASURE(QualityAspectRatio),
        KETSDK_MEASURE(QualityAspectRatioTetgen),
        KETSDK_MEASURE(QualityRadiusEdgeTetgen),
        KETSDK_MEASURE(QualityEquiAngleSkew),
        KETSDK_MEASURE(QualityEquiDihedralAngleSkew),
        KETSDK_MEASURE(QualityEdgeMinMax),
        KETSDK_MEASURE(QualityEdgeMaxMin),
        KETSDK_MEASURE(QualityJacobian),
        KETSDK_MEASURE(QualityScaledJacobian),
        KETSDK_MEASURE(QualityMinFacangle),
        KETSDK_MEASURE(QualityMaxFacangle),
        KETSDK_MEASURE(QualityEquiSizeSkew),
        KETSDK_MEASURE(QualityAbacusShapeFactor),
        KETSDK_MEASURE(QualityAnsysElementQuality),
        KETSDK_MEASURE(QualityFluentOrthogonalQuality),
        KETSDK_MEASURE(QualityMinCornerAngle),
        KETSDK_MEASURE(QualityMaxCornerAngle),
        KETSDK_MEASURE(RadiusCircumsphere),
        KETSDK_MEASURE(GetMaxEdgeLength),
        KETSDK_MEASURE(GetMinEdgeLength),
        KETSDK_MEASURE(RadiusInsphere),
        KETSDK_MEASURE(GetCosLargestMidAngle),
        KETSDK_MEASURE(GetMinHeight),
        KETSDK_MEASURE(GetMinCosDihedralAngle),
        KETSDK_MEASURE(GetMaxCosDihedralAngle),
        {"smallest face area",
         [](TetrahedronBase<T>& t) {
             double low, high;
             t.GetMinMaxArea(low, high);
             return low;
         }},
        {"largest face area",
         [](TetrahedronBase<T>& t) {
             double low, high;
             t.GetMinMaxArea(low, high);
             return high;
         }},
    };
}

#undef KETSDK_MEASURE

// The value of one measure by its name.
template <typename T>
double Value(TetrahedronBase<T> tetrahedron, std::string const& name) {
    for (Measure<T> const& measure : AllMeasures<T>())
        if (measure.name == name)
            return measure.value(tetrahedron);
    throw std::invalid_argument("no measure " + name);
}
