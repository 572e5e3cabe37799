// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/geometry/MMeshQualityAnalysisOperator.h>

// The Verdict functions that element geometry is checked against, under one set of names: a stand-alone
// Verdict brings its own header; the one inside VTK exports C functions without one.

#ifdef KETSDK_VERDICT_IN_VTK

extern "C" {
double vtkverdict__v_tet_distortion(int num_nodes, double coordinates[][3]);
double vtkverdict__v_tet_jacobian(int num_nodes, double coordinates[][3]);
double vtkverdict__v_tet_radius_ratio(int num_nodes, double coordinates[][3]);
double vtkverdict__v_tet_scaled_jacobian(int num_nodes, double coordinates[][3]);
double vtkverdict__v_tet_volume(int num_nodes, double coordinates[][3]);
double vtkverdict__v_hex_condition(int num_nodes, double coordinates[][3]);
double vtkverdict__v_hex_diagonal(int num_nodes, double coordinates[][3]);
double vtkverdict__v_hex_jacobian(int num_nodes, double coordinates[][3]);
double vtkverdict__v_hex_max_edge_ratio(int num_nodes, double coordinates[][3]);
double vtkverdict__v_hex_med_aspect_frobenius(int num_nodes, double coordinates[][3]);
double vtkverdict__v_hex_oddy(int num_nodes, double coordinates[][3]);
double vtkverdict__v_hex_scaled_jacobian(int num_nodes, double coordinates[][3]);
double vtkverdict__v_hex_shape(int num_nodes, double coordinates[][3]);
double vtkverdict__v_hex_skew(int num_nodes, double coordinates[][3]);
double vtkverdict__v_hex_stretch(int num_nodes, double coordinates[][3]);
double vtkverdict__v_hex_taper(int num_nodes, double coordinates[][3]);
double vtkverdict__wedge_edge_ratio(int num_nodes, double coordinates[][3]);
double vtkverdict__wedge_jacobian(int num_nodes, double coordinates[][3]);
double vtkverdict__wedge_mean_aspect_frobenius(int num_nodes, double coordinates[][3]);
double vtkverdict__wedge_scaled_jacobian(int num_nodes, double coordinates[][3]);
double vtkverdict__wedge_shape(int num_nodes, double coordinates[][3]);
}
#define KETSDK_VERDICT_FUNCTION(name) vtkverdict__v_##name
#define KETSDK_VERDICT_WEDGE(name) vtkverdict__##name

#else

#include <verdict.h>
#define KETSDK_VERDICT_FUNCTION(name) verdict::name
#define KETSDK_VERDICT_WEDGE(name) verdict::name

#endif

namespace KetSDK::Mesh::Detail {

// Each takes an array of n rows (x, y, z): 4 for the linear tetrahedron, 10 for the quadratic one.
// The functions only read the rows.

// Smallest ratio of the element's Jacobian to its mean, 1 for a straight-sided tetrahedron.
// Not for use from several threads: Verdict's distortion functions of all shapes keep their integration
// points and shape functions in static tables that every call (with ten nodes here, any number of nodes
// for other shapes) fills anew. Beside a distortion of another shape in another thread, VTK's filters
// included, it gives wrong values or crashes, and no lock of ours would keep the others out.
inline double VerdictTetDistortion(int n, double (*nodes)[3]) {
    return KETSDK_VERDICT_FUNCTION(tet_distortion)(n, nodes);
}
// Six times the signed volume of the corners.
inline double VerdictTetJacobian(int n, double (*nodes)[3]) {
    return KETSDK_VERDICT_FUNCTION(tet_jacobian)(n, nodes);
}
// Circumradius over three times the inradius.
inline double VerdictTetRadiusRatio(int n, double (*nodes)[3]) {
    return KETSDK_VERDICT_FUNCTION(tet_radius_ratio)(n, nodes);
}
// Jacobian over the largest product of the three edges at a corner, 1 for the regular tetrahedron.
inline double VerdictTetScaledJacobian(int n, double (*nodes)[3]) {
    return KETSDK_VERDICT_FUNCTION(tet_scaled_jacobian)(n, nodes);
}
// Signed volume.
inline double VerdictTetVolume(int n, double (*nodes)[3]) {
    return KETSDK_VERDICT_FUNCTION(tet_volume)(n, nodes);
}

// A measure of hexahedra or wedges: one value of its eight or six corners.
using VerdictMeasure = double (*)(int n, double (*nodes)[3]);

struct VerdictSolid {
    MMeshQualityAnalysisOperator::QualityType type;
    VerdictMeasure hexahedron; // null where Verdict has none
    VerdictMeasure wedge;
};
inline constexpr VerdictSolid VerdictSolids[] = {
    {MMeshQualityAnalysisOperator::Jacobian, KETSDK_VERDICT_FUNCTION(hex_jacobian),
     KETSDK_VERDICT_WEDGE(wedge_jacobian)},
    {MMeshQualityAnalysisOperator::ScaledJacobian, KETSDK_VERDICT_FUNCTION(hex_scaled_jacobian),
     KETSDK_VERDICT_WEDGE(wedge_scaled_jacobian)},
    // Its largest one of a wedge is smaller than that at some corners, of which its mean is right.
    {MMeshQualityAnalysisOperator::Condition, KETSDK_VERDICT_FUNCTION(hex_condition), nullptr},
    {MMeshQualityAnalysisOperator::MeanAspectFrobenius, KETSDK_VERDICT_FUNCTION(hex_med_aspect_frobenius),
     KETSDK_VERDICT_WEDGE(wedge_mean_aspect_frobenius)},
    {MMeshQualityAnalysisOperator::Shape, KETSDK_VERDICT_FUNCTION(hex_shape),
     KETSDK_VERDICT_WEDGE(wedge_shape)},
    {MMeshQualityAnalysisOperator::EdgeMaxMin, nullptr, KETSDK_VERDICT_WEDGE(wedge_edge_ratio)},
    {MMeshQualityAnalysisOperator::MaxEdgeRatio, KETSDK_VERDICT_FUNCTION(hex_max_edge_ratio), nullptr},
    {MMeshQualityAnalysisOperator::Skew, KETSDK_VERDICT_FUNCTION(hex_skew), nullptr},
    {MMeshQualityAnalysisOperator::Taper, KETSDK_VERDICT_FUNCTION(hex_taper), nullptr},
    {MMeshQualityAnalysisOperator::Stretch, KETSDK_VERDICT_FUNCTION(hex_stretch), nullptr},
    {MMeshQualityAnalysisOperator::Diagonal, KETSDK_VERDICT_FUNCTION(hex_diagonal), nullptr},
    {MMeshQualityAnalysisOperator::Oddy, KETSDK_VERDICT_FUNCTION(hex_oddy), nullptr},
};

} // namespace KetSDK::Mesh::Detail

#undef KETSDK_VERDICT_WEDGE
#undef KETSDK_VERDICT_FUNCTION
