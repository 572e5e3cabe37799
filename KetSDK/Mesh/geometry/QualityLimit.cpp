#include <KetSDK/Mesh/geometry/QualityLimit.h>

#include <cfloat>

namespace KetSDK::Mesh {

namespace {

using Metric = MMeshQualityAnalysisOperator;

QualityLimit AtLeast(Metric::QualityType metric, double value) {
    return {FindQualityMetric(metric), QualityLimit::Sense::AtLeast, value};
}
QualityLimit AtMost(Metric::QualityType metric, double value) {
    return {FindQualityMetric(metric), QualityLimit::Sense::AtMost, value};
}

} // namespace

std::span<QualityLimitSet const> QualityLimitSets() {
    static QualityLimit const abaqus[] = {
        AtLeast(Metric::AbacusShapeFactor, 0.0001), AtLeast(Metric::MinFaceAngle, 5.0),
        AtMost(Metric::MaxFaceAngle, 170.0), AtMost(Metric::EdgeMaxMin, 10.0)};
    static QualityLimit const ansys[] = {AtMost(Metric::JacobianRatio, 30.0),
                                         AtMost(Metric::MaxFaceAngle, 165.0),
                                         AtLeast(Metric::Jacobian, DBL_MIN)};
    static QualityLimit const febio[] = {AtLeast(Metric::Jacobian, DBL_MIN), AtMost(Metric::Folded, 0.0)};
    static QualityLimitSet const sets[] = {
        {"abaqus", "Abaqus", abaqus,
         "Abaqus/CAE User's Guide, Verifying your mesh: default limits of the element shape criteria",
         "those for tetrahedra: shape factor, smallest and largest corner angle of the faces, longest edge "
         "over "
         "shortest"},
        {"ansys", "Ansys Mechanical", ansys,
         "Ansys Mechanical APDL, Theory Reference, Element Shape Testing; command SHPP: default limits at "
         "which it "
         "warns",
         "Jacobian ratio and largest corner angle of triangular faces, and that the volume is positive; its "
         "aspect "
         "ratio and parallel deviation have no metric here"},
        {"febio", "FEBio", febio, "FEBio User's Manual 3.4, section 8.3.1, Inverted elements",
         "the solver takes no element whose Jacobian is zero or negative anywhere, and gives no limit of "
         "shape"}};
    return sets;
}

QualityLimitSet const* FindQualityLimitSet(std::string_view name) {
    for (QualityLimitSet const& set : QualityLimitSets())
        if (set.name == name)
            return &set;
    return nullptr;
}

} // namespace KetSDK::Mesh
