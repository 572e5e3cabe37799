// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/QualityLimit.h>

#include <cfloat>

namespace KetSDK::Mesh {

namespace {

using Metric = MMeshQualityAnalysisOperator;

QualityLimit AtLeast(Metric::QualityType metric, double value,
                     unsigned char kinds = QualityMetric::AllKinds) {
    return {FindQualityMetric(metric), QualityLimit::Sense::AtLeast, value, kinds};
}
QualityLimit AtMost(Metric::QualityType metric, double value, unsigned char kinds = QualityMetric::AllKinds) {
    return {FindQualityMetric(metric), QualityLimit::Sense::AtMost, value, kinds};
}

} // namespace

std::span<QualityLimitSet const> QualityLimitSets() {
    static constexpr unsigned char Tetrahedra = QualityMetric::Tetrahedra;
    static QualityLimit const abaqus[] = {AtLeast(Metric::AbacusShapeFactor, 0.0001, Tetrahedra),
                                          AtLeast(Metric::MinFaceAngle, 5.0, Tetrahedra),
                                          AtMost(Metric::MaxFaceAngle, 170.0, Tetrahedra),
                                          AtMost(Metric::EdgeMaxMin, 10.0, Tetrahedra)};
    static QualityLimit const ansys[] = {AtLeast(Metric::EquiSizeSkew, 0.1, Tetrahedra)};
    static QualityLimit const febio[] = {AtLeast(Metric::Jacobian, DBL_MIN), AtMost(Metric::Folded, 0.0)};
    static QualityLimitSet const sets[] = {
        {"abaqus", "Abaqus", abaqus,
         "Abaqus/CAE User's Guide 2016, section 17.6.1, Verifying element quality: default limits of the "
         "element shape criteria; ceae-server.colorado.edu/v2016/books/usi/pt03ch17s06s01.html",
         "those for tetrahedra: shape factor, smallest and largest corner angle of the faces, longest edge "
         "over "
         "shortest; the geometric deviation factor has no metric here"},
        {"ansys", "Ansys", ansys,
         "Ansys Meshing User's Guide, Skewness: tetrahedra with an equilateral-volume skewness from 0.9 on "
         "are "
         "slivers; ansyshelp.ansys.com/public/Views/Secured/corp/v242/en/wb_msh/msh_skewness.html",
         "EquiSizeSkew is 1 - that skewness, so 0.1 is the least. The limits of the command SHPP are not "
         "among "
         "these: no public source of their figures was found"},
        {"febio", "FEBio", febio,
         "FEBio User's Manual 3.4, section 8.3.1, Inverted elements; "
         "help.febio.org/FebioUser/FEBio_um_3-4-Subsection-8.3.1.html",
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
