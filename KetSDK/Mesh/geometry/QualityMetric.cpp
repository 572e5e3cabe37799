// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/QualityMetric.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <algorithm>
#include <cfloat>
#include <cstddef>
#include <iterator>
#include <limits>

namespace KetSDK::Mesh {

namespace {

using Metric = MMeshQualityAnalysisOperator;
using enum QualityMetric::Range;
using enum QualityMetric::Sense;
using enum QualityMetric::Worst;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double FlatRadius = 1.3407807929942596e+154; // the circumradius that stands for a flat element

constexpr std::string_view Verdict = "Stimpson et al. 2007, Sandia report SAND2007-1751";

// Values of the regular tetrahedron with edges of 1.
constexpr double RegularVolume = 0.11785113019775793;  // sqrt(2) / 12
constexpr double RegularJacobian = 0.7071067811865476; // six times that
constexpr double RegularDihedral = 70.52877936550931;  // acos(1/3), in degrees
constexpr double SquareDiagonal = 1.4142135623730951;  // the longest edge of the flat element

constexpr std::string_view CurvedVolumes = "determinant of three edges / 6; integral of the Jacobian "
                                           "determinant by the rule of five points of Keast 1986, "
                                           "Comput. Methods Appl. Mech. Eng. 55";

// Fields: type, name, definition, unit, values, range, sense, worst,
// quadratic; best, inverted, flat, non-finite; source.
constexpr QualityMetric Metrics[] = {
    {Metric::Spheres, "Spheres", "3 insphere radius / circumsphere radius; 0 for volumes below 2^-26 mm3", "",
     "(0, 1]", Unit, Higher, Lowest, false, 1, 1, 0, NaN,
     "Cavendish, Field, Frey 1985, Int. J. Numer. Meth. Eng. 21; Liu, Joe 1994, BIT 34"},
    {Metric::InsphereEdge, "InsphereEdge",
     "2 sqrt(6) insphere radius / longest edge; 0 for volumes below 2^-26 mm3", "", "(0, 1]", Unit, Higher,
     Lowest, false, 1, 1, 0, NaN, "Parthasarathy, Graichen, Hathaway 1994, Finite Elem. Anal. Des. 15"},
    {Metric::MeanRatio, "MeanRatio", "12 (3 volume)^(2/3) / sum of squared edges", "", "(0, 1]", Unit, Higher,
     Lowest, false, 1, NaN, 0, NaN, "Liu, Joe 1994, BIT 34"},
    {Metric::Volume, "Volume",
     "signed volume, of a curved element the exact one, of hexahedra and wedges that of the tetrahedra "
     "that they are cut into; MMeshQualityAnalysisOperator takes that of the corners unless "
     "SetCurvedVolumes is on",
     "mm3", "(0, inf)", Values, None, Lowest, false, RegularVolume, -RegularVolume, 0, NaN, CurvedVolumes,
     QualityMetric::AllKinds},
    {Metric::AspectRatio, "AspectRatio", "sqrt(3/2) smallest height / longest edge", "", "(0, 1]", Unit,
     Higher, Lowest, false, 1, 1, 0, NaN,
     "Parthasarathy, Graichen, Hathaway 1994, Finite Elem. Anal. Des. 15"},
    {Metric::AspectRatioTetgen, "AspectRatioTetgen", "longest edge / smallest height", "", "[1.2247, inf)",
     Largest, Lower, Highest, false, 1.224744871391589, 1.224744871391589, Infinity, NaN,
     "Si 2015, ACM Trans. Math. Softw. 41 (2)"},
    {Metric::RadiusEdgeTetgen, "RadiusEdgeTetgen", "circumsphere radius / shortest edge", "", "[0.6124, inf)",
     Largest, Lower, Highest, false, 0.6123724356957945, 0.6123724356957945, FlatRadius, NaN,
     "Miller, Talmor, Teng, Walkington 1995, ACM STOC 27; Si 2015, ACM Trans. Math. Softw. 41 (2)"},
    {Metric::EquiAngleSkew, "EquiAngleSkew",
     "1 - max((largest - 60) / 120, (60 - smallest) / 60) of the face angles", "", "[0, 1]", Unit, Higher,
     Lowest, false, 1, 1, 0.75, 1, "equiangular skewness as mesh generators for flow solvers use it, from 1"},
    {Metric::EdgeMaxMin, "EdgeMaxMin", "longest edge / shortest edge", "", "[1, inf)", Largest, Lower,
     Highest, false, 1, 1, SquareDiagonal, 1,
     "Stimpson et al. 2007, Sandia report SAND2007-1751 (edge ratio)", QualityMetric::AllKinds},
    {Metric::EdgeMinMax, "EdgeMinMax", "shortest edge / longest edge", "", "(0, 1]", Unit, Higher, Lowest,
     false, 1, 1, 0.7071067811865475, 1,
     "Stimpson et al. 2007, Sandia report SAND2007-1751 (edge ratio, inverse)", QualityMetric::AllKinds},
    {Metric::Jacobian, "Jacobian",
     "Jacobian determinant of the corners: six times the volume; of hexahedra the smallest one at "
     "corners and centre, of wedges at corners",
     "mm3", "(0, inf)", Values, None, Lowest, false, RegularJacobian, -RegularJacobian, 0, NaN,
     "Stimpson et al. 2007, Sandia report SAND2007-1751", QualityMetric::AllKinds},
    {Metric::ScaledJacobian, "ScaledJacobian",
     "sqrt(2) Jacobian / largest product of the three edges at a corner. For hexahedra it is the "
     "smallest determinant of unit edges at a corner or unit axes at the centre, for wedges 2/sqrt(3) "
     "of that at corners",
     "", "(0, 1]", Unit, Higher, Lowest, false, 1, -1, 0, NaN,
     "Knupp 2000, Int. J. Numer. Meth. Eng. 48; Stimpson et al. 2007, SAND2007-1751",
     QualityMetric::AllKinds},
    {Metric::JacobianDistortion, "JacobianDistortion",
     "smallest Jacobian determinant x volume of the reference element / volume, of ten nodes", "",
     "(-inf, 1]", Values, None, Lowest, true, 1, 1, NaN, NaN,
     "Stimpson et al. 2007, Sandia report SAND2007-1751 (distortion)"},
    {Metric::MinJacobianDeterminant, "MinJacobianDeterminant",
     "smallest Jacobian determinant at corners, edge middles and centroid, of ten nodes", "mm3",
     "(-inf, inf)", Largest, Lower, Lowest, true, RegularJacobian, -RegularJacobian, 0, NaN,
     "Johnen, Remacle, Geuzaine 2013, J. Comput. Phys. 233"},
    {Metric::JacobianRatio, "JacobianRatio",
     "largest / smallest Jacobian determinant at the same points; -100 for a folded element", "",
     "[1, inf) or -100", Largest, Lower, NegativeThenHighest, true, 1, 1, NaN, NaN,
     "Ansys Mechanical APDL, theory reference (Jacobian ratio)"},
    {Metric::MaxEdgeLength, "MaxEdgeLength", "longest edge", "mm", "(0, inf)", Largest, None, Highest, false,
     1, 1, SquareDiagonal, 1, "distance of two corners", QualityMetric::AllKinds},
    {Metric::MinEdgeLength, "MinEdgeLength", "shortest edge", "mm", "(0, inf)", Largest, None, Lowest, false,
     1, 1, 1, 1, "distance of two corners", QualityMetric::AllKinds},
    {Metric::MaxCosDihedralAngle, "MaxCosDihedralAngle", "cosine of the smallest dihedral angle", "",
     "[1/3, 1)", Values, None, Highest, false, 1.0 / 3.0, 1.0 / 3.0, 1, -DBL_MAX,
     "Freitag, Ollivier-Gooch 1997, Int. J. Numer. Meth. Eng. 40"},
    {Metric::MinDihedralAngle, "MinDihedralAngle", "smallest of the six angles between two faces", "deg",
     "(0, 70.53]", Angle, Higher, Lowest, false, RegularDihedral, RegularDihedral, 0, NaN,
     "Freitag, Ollivier-Gooch 1997, Int. J. Numer. Meth. Eng. 40"},
    {Metric::MaxDihedralAngle, "MaxDihedralAngle", "largest of the six angles between two faces", "deg",
     "[70.53, 180)", Angle, Lower, Highest, false, RegularDihedral, RegularDihedral, 180, NaN,
     "Freitag, Ollivier-Gooch 1997, Int. J. Numer. Meth. Eng. 40"},
    {Metric::MinFaceAngle, "MinFaceAngle", "smallest of the corner angles of the faces", "deg", "(0, 60]",
     Angle, Higher, Lowest, false, 60, 60, 45, 60, "Shewchuk 2002, What Is a Good Linear Finite Element?",
     QualityMetric::AllKinds},
    {Metric::MaxFaceAngle, "MaxFaceAngle", "largest of the corner angles of the faces", "deg", "[60, 180)",
     Angle, Lower, Highest, false, 60, 60, 90, 60, "Shewchuk 2002, What Is a Good Linear Finite Element?",
     QualityMetric::AllKinds},
    {Metric::EquiDihedralAngleSkew, "EquiDihedralAngleSkew",
     "1 - max((largest - 70.53) / 109.47, (70.53 - smallest) / 70.53) of the dihedral angles", "", "[0, 1]",
     Unit, None, Lowest, false, 1, 1, 0, NaN,
     "equiangular skewness as mesh generators for flow solvers use it, of dihedral angles, from 1"},
    {Metric::EquiSizeSkew, "EquiSizeSkew",
     "volume / volume of the regular tetrahedron with the same circumsphere", "", "(0, 1]", Unit, None,
     Lowest, false, 1, -1, NaN, NaN, "Ansys Fluent, user's guide (skewness by equilateral volume), from 1"},
    {Metric::AbacusShapeFactor, "AbacusShapeFactor",
     "volume / volume of the regular tetrahedron with the same circumsphere, by way of its edge", "",
     "(0, 1]", Unit, None, Lowest, false, 1, -1, 0, NaN, "Abaqus/CAE, user's guide (shape factor)"},
    {Metric::AnsysElementQuality, "AnsysElementQuality", "124.70765802 volume / (sum of squared edges)^(3/2)",
     "", "(0, 0.999999999]", Unit, None, Lowest, false, 0.999999999, -0.999999999, 0, NaN,
     "Ansys Meshing, user's guide (element quality)"},
    {Metric::FluentOrthogonalQuality, "FluentOrthogonalQuality",
     "smallest cosine between a face's normal and the lines from the centroid to the face's and, where "
     "neighbours are known, to the neighbour's centroid. The normal is as the neighbour winds the face",
     "", "[-1, 1]", Unit, None, Lowest, false, 1, -1, 0, 1,
     "Ansys Fluent, user's guide (orthogonal quality)"},
    {Metric::MinCornerAngle, "MinCornerAngle", "smallest of the twelve angles between two edges at a corner",
     "deg", "(0, 60]", Angle, None, Lowest, false, 60, 60, 45, 60,
     "Shewchuk 2002, What Is a Good Linear Finite Element?"},
    {Metric::MaxCornerAngle, "MaxCornerAngle", "largest of the twelve angles between two edges at a corner",
     "deg", "[60, 180)", Angle, None, Highest, false, 60, 60, 90, 60,
     "Shewchuk 2002, What Is a Good Linear Finite Element?"},
    {Metric::VolumeInRange, "VolumeInRange", "the same as Volume, in a histogram from 0", "mm3", "(0, inf)",
     Largest, None, Lowest, false, RegularVolume, -RegularVolume, 0, NaN, CurvedVolumes,
     QualityMetric::AllKinds},
    {Metric::VolumeInRange2, "VolumeInRange2", "the same as VolumeInRange", "mm3", "(0, inf)", Largest, None,
     Lowest, false, RegularVolume, -RegularVolume, 0, NaN, CurvedVolumes, QualityMetric::AllKinds},
    {Metric::MinFaceAngleRatio, "MinFaceAngleRatio", "smallest corner angle of the faces / 60 deg", "",
     "(0, 1]", Unit, None, Lowest, false, 1, 1, 0.75, 1,
     "Shewchuk 2002, What Is a Good Linear Finite Element?"},
    {Metric::MaxFaceAngleRatio, "MaxFaceAngleRatio",
     "(180 deg - largest corner angle of the faces) / 120 deg", "", "(0, 1]", Unit, None, Lowest, false, 1, 1,
     0.75, 1, "Shewchuk 2002, What Is a Good Linear Finite Element?"},
    {Metric::OrthogonalQuality, "OrthogonalQuality",
     "smallest cosine between a face's outward normal and the lines from the centroid to the face's "
     "and, where neighbours are known, to the neighbour's centroid; not below 0",
     "", "[0, 1]", Unit, Higher, Lowest, false, 1, 0, 0, NaN,
     "Ansys Fluent, user's guide (orthogonal quality)"},
    {Metric::Folded, "Folded", "1 where the Jacobian determinant is negative anywhere in the element, else 0",
     "", "0", Unit, Lower, Highest, true, 0, 1, 0, NaN,
     "Johnen, Remacle, Geuzaine 2013, J. Comput. Phys. 233", QualityMetric::AllKinds},
    {Metric::CornerVolume, "CornerVolume",
     "signed volume of the corners; of hexahedra and wedges of the tetrahedra that they are cut into", "mm3",
     "(0, inf)", Values, None, Lowest, false, RegularVolume, -RegularVolume, 0, NaN,
     "determinant of three edges / 6", QualityMetric::AllKinds},
    {Metric::Condition, "Condition",
     "largest condition number of the Jacobian matrices at corners and centre / 3; of wedges the "
     "largest aspect Frobenius at a corner",
     "", "[1, inf)", Largest, Lower, Highest, false, 1, Infinity, Infinity, NaN, Verdict,
     QualityMetric::WedgesAndHexahedra},
    {Metric::MeanAspectFrobenius, "MeanAspectFrobenius", "mean of the same at the corners", "", "[1, inf)",
     Largest, Lower, Highest, false, 1, Infinity, Infinity, NaN, Verdict, QualityMetric::WedgesAndHexahedra},
    {Metric::Shape, "Shape",
     "smallest 3 determinant^(2/3) / sum of squared edges at a corner, 0 where inverted", "", "[0, 1]", Unit,
     Higher, Lowest, false, 1, 0, 0, NaN, Verdict, QualityMetric::WedgesAndHexahedra},
    {Metric::MaxEdgeRatio, "MaxEdgeRatio", "longest principal axis / shortest", "", "[1, inf)", Largest,
     Lower, Highest, false, 1, 1, Infinity, NaN, Verdict, QualityMetric::Hexahedra},
    {Metric::Skew, "Skew", "largest cosine between two principal axes", "", "[0, 1]", Unit, Lower, Highest,
     false, 0, 0, 1, NaN, Verdict, QualityMetric::Hexahedra},
    {Metric::Taper, "Taper", "largest cross derivative / shorter one of its two principal axes", "",
     "[0, inf)", Largest, Lower, Highest, false, 0, 0, Infinity, NaN, Verdict, QualityMetric::Hexahedra},
    {Metric::Stretch, "Stretch", "sqrt(3) shortest edge / longest diagonal", "", "[0, 1]", Unit, Higher,
     Lowest, false, 1, 1, 0, NaN, Verdict, QualityMetric::Hexahedra},
    {Metric::Diagonal, "Diagonal", "shortest diagonal / longest diagonal", "", "[0, 1]", Unit, Higher, Lowest,
     false, 1, 1, 1, NaN, Verdict, QualityMetric::Hexahedra},
    {Metric::Oddy, "Oddy",
     "largest deviation of the metric tensor from that of a cube, at corners and centre", "", "[0, inf)",
     Largest, Lower, Highest, false, 0, Infinity, Infinity, NaN,
     "Oddy, Goldak, McDill, Bibby 1988, Trans. CSME 12; Stimpson et al. 2007, SAND2007-1751",
     QualityMetric::Hexahedra},
};

constexpr bool EachIsInThePlaceOfItsNumber() {
    for (std::size_t i = 0; i < std::size(Metrics); ++i)
        if (int(i) < Metric::NumberOfMetrics ? Metrics[i].type != int(i)
                                             : Metrics[i].type <= Metrics[i - 1].type)
            return false;
    return true;
}
static_assert(EachIsInThePlaceOfItsNumber());

} // namespace

std::span<QualityMetric const> QualityMetrics() noexcept {
    return Metrics;
}

QualityMetric const* FindQualityMetric(int type) noexcept {
    if (type >= 0 && type < Metric::NumberOfMetrics)
        return &Metrics[static_cast<std::size_t>(type)];
    auto const found = std::ranges::find(Metrics, type, [](QualityMetric const& m) { return int{m.type}; });
    return found == std::end(Metrics) ? nullptr : found;
}

QualityMetric const* FindQualityMetric(std::string_view name) noexcept {
    for (QualityMetric const& metric : Metrics)
        if (metric.name == name)
            return &metric;
    return nullptr;
}

bool QualityMetric::IsFault(double value) const noexcept {
    return (worst == NegativeThenHighest && value < 0.0) || (type == Metric::Folded && value > 0.0);
}

unsigned char KindsOf(MMeshBase const& mesh) {
    unsigned int kinds = 0;
    for (MMeshElement const& e : mesh.Elements())
        kinds |= KindOf(e.GetNodeCount());
    return static_cast<unsigned char>(kinds);
}

bool HasMetric(MMeshBase const& mesh, QualityMetric const& metric) {
    return MeasuresAll(metric, KindsOf(mesh)) &&
           (metric.type != Metric::JacobianDistortion || mesh.GetMeshType() == MMeshBase::Quadratic);
}

} // namespace KetSDK::Mesh
