// SPDX-License-Identifier: BSD-3-Clause
// Measures of random tetrahedra against Verdict and against formulas of another kind (edge lengths only:
// Heron, Cayley-Menger, the laws of cosines) in long double.

#include "Measures.h"
#include "VerdictAdapter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numbers>
#include <random>

namespace {

using Real = long double;
using Vector = MMVector<double, 3>;
using Tetrahedron = TetrahedronBase<double>;

constexpr unsigned int seed = 20240611;
constexpr int other_corners[4][3] = {{1, 2, 3}, {0, 2, 3}, {0, 1, 3}, {0, 1, 2}};

// All measures of a positively oriented tetrahedron from nothing but its six edge lengths.
class FromLengths {
public:
    explicit FromLengths(Tetrahedron const& t) {
        for (unsigned int i = 0; i < 4; ++i)
            for (unsigned int j = 0; j < 4; ++j)
                for (std::size_t c = 0; c < 3; ++c) {
                    Real const d = static_cast<Real>(t.GetVertex(i)[c]) - t.GetVertex(j)[c];
                    m_square[i][j] += d * d;
                }
    }

    std::map<std::string, Real> Measures() const {
        Real const pi = std::numbers::pi_v<Real>;
        Real const volume = Volume();
        Real area_sum = 0, area_min = 1e300L, area_max = 0, median_ratio = 1;
        for (int f = 0; f < 4; ++f) {
            Real const area = Area(other_corners[f]);
            area_sum += area;
            area_min = std::min(area_min, area);
            area_max = std::max(area_max, area);
            median_ratio = std::min(median_ratio, 3 * volume / area / Median(f));
        }
        Real edge_min = 1e300L, edge_max = 0, sum = 0, product_max = 0;
        Real face_min = 4, face_max = 0, dihedral_min = 4, dihedral_max = 0;
        for (int i = 0; i < 4; ++i) {
            auto const [a, b, c] = std::to_array(other_corners[i]);
            product_max = std::max(product_max, Length(i, a) * Length(i, b) * Length(i, c));
            for (auto [j, k, l] : {std::array{a, b, c}, std::array{b, c, a}, std::array{c, a, b}}) {
                edge_min = std::min(edge_min, Length(i, j));
                edge_max = std::max(edge_max, Length(i, j));
                sum += m_square[i][j] / 2;
                face_min = std::min(face_min, Angle(i, j, k));
                face_max = std::max(face_max, Angle(i, j, k));
                dihedral_min = std::min(dihedral_min, Dihedral(i, j, k, l));
                dihedral_max = std::max(dihedral_max, Dihedral(i, j, k, l));
            }
        }
        Real const inradius = 3 * volume / area_sum, height_min = 3 * volume / area_max;
        Real const radius = Circumradius(volume);
        Real const regular = 8 * std::sqrt(3.0L) / 27 * radius * radius * radius;
        Real const ideal = std::acos(1 / 3.0L);
        Real const face_skew = std::max((face_max - pi / 3) / (2 * pi / 3), 1 - face_min / (pi / 3));
        Real const dihedral_skew = std::max((dihedral_max - ideal) / (pi - ideal), 1 - dihedral_min / ideal);
        return {
            {"Volume", volume},
            {"QualitySpheres", 3 * inradius / radius},
            {"QualityInsphereEdge", std::sqrt(24.0L) * inradius / edge_max},
            {"QualityMeanRatio", 12 * std::cbrt(9 * volume * volume) / sum},
            {"QualityAspectRatio", std::sqrt(1.5L) * height_min / edge_max},
            {"QualityAspectRatioTetgen", edge_max / height_min},
            {"QualityRadiusEdgeTetgen", radius / edge_min},
            {"QualityEquiAngleSkew", 1 - face_skew},
            {"QualityEquiDihedralAngleSkew", 1 - dihedral_skew},
            {"QualityEdgeMinMax", edge_min / edge_max},
            {"QualityEdgeMaxMin", edge_max / edge_min},
            {"QualityJacobian", 6 * volume},
            {"QualityScaledJacobian", std::sqrt(2.0L) * 6 * volume / std::max(product_max, 6 * volume)},
            {"QualityMinFacangle", face_min},
            {"QualityMaxFacangle", face_max},
            {"QualityEquiSizeSkew", volume / regular},
            {"QualityAbacusShapeFactor", volume / regular},
            {"QualityAnsysElementQuality", 124.70765802L * volume / std::pow(sum, 1.5L)},
            {"QualityFluentOrthogonalQuality", median_ratio},
            {"QualityMinCornerAngle", face_min},
            {"QualityMaxCornerAngle", face_max},
            {"RadiusCircumsphere", radius},
            {"GetMaxEdgeLength", edge_max},
            {"GetMinEdgeLength", edge_min},
            {"RadiusInsphere", inradius},
            {"GetCosLargestMidAngle", 1 - edge_max * edge_max / (2 * radius * radius)},
            {"GetMinHeight", height_min},
            {"GetMinCosDihedralAngle", std::cos(dihedral_max)},
            {"GetMaxCosDihedralAngle", std::cos(dihedral_min)},
            {"smallest face area", area_min},
            {"largest face area", area_max},
        };
    }

private:
    Real Length(int i, int j) const { return std::sqrt(m_square[i][j]); }

    // Heron's formula in Kahan's order.
    Real Area(int const (&v)[3]) const {
        Real l[3] = {Length(v[0], v[1]), Length(v[1], v[2]), Length(v[2], v[0])};
        std::sort(l, l + 3);
        auto const [c, b, a] = std::to_array(l);
        return std::sqrt((a + (b + c)) * (c - (a - b)) * (c + (a - b)) * (a + (b - c))) / 4;
    }

    // 144 V^2 by the Cayley-Menger determinant, written out over opposite edges.
    Real Volume() const {
        Real const u = m_square[0][1], v = m_square[0][2], w = m_square[0][3];
        Real const U = m_square[2][3], V = m_square[1][3], W = m_square[1][2];
        Real const a = v + w - U, b = w + u - V, c = u + v - W;
        return std::sqrt(4 * u * v * w - u * a * a - v * b * b - w * c * c + a * b * c) / 12;
    }

    // Crelle: 24 V R is four times the area of the triangle on the products of opposite edges, halved.
    Real Circumradius(Real volume) const {
        Real const a = Length(0, 1) * Length(2, 3), b = Length(0, 2) * Length(1, 3),
                   c = Length(0, 3) * Length(1, 2);
        return std::sqrt((a + b + c) * (b + c - a) * (c + a - b) * (a + b - c)) / (24 * volume);
    }

    // From a corner to the centroid of its opposite face.
    Real Median(int corner) const {
        auto const [a, b, c] = std::to_array(other_corners[corner]);
        return std::sqrt(3 * (m_square[corner][a] + m_square[corner][b] + m_square[corner][c]) -
                         m_square[a][b] - m_square[b][c] - m_square[c][a]) /
               3;
    }

    // At corner i between the edges to j and k, by the law of cosines.
    Real Angle(int i, int j, int k) const {
        return std::acos((m_square[i][j] + m_square[i][k] - m_square[j][k]) /
                         (2 * Length(i, j) * Length(i, k)));
    }

    // Along the edge i-j, by the spherical law of cosines at corner i.
    Real Dihedral(int i, int j, int k, int l) const {
        Real const jk = Angle(i, j, k), jl = Angle(i, j, l), kl = Angle(i, k, l);
        return std::acos((std::cos(kl) - std::cos(jk) * std::cos(jl)) / (std::sin(jk) * std::sin(jl)));
    }

    Real m_square[4][4] = {};
};

// Corners in a cube of the given size about an offset, positively oriented and not close to flat.
Tetrahedron RandomTetrahedron(std::mt19937& random, double size, Vector const& offset) {
    std::uniform_real_distribution<double> coordinate(-size, size);
    for (;;) {
        Vector p[4];
        for (Vector& corner : p)
            corner = offset + Vector(coordinate(random), coordinate(random), coordinate(random));
        Tetrahedron t(p);
        if (t.QualityScaledJacobian() < 0.0)
            t = Tetrahedron(p[0], p[2], p[1], p[3]);
        if (t.QualityScaledJacobian() > 0.02)
            return t;
    }
}

void ExpectClose(double value, Real expected, double tolerance, std::string const& what) {
    EXPECT_LE(std::fabs(value - expected), tolerance * std::max<Real>(1e-3L, std::fabs(expected)))
        << what << ": " << value << " instead of " << static_cast<double>(expected) << ", seed " << seed;
}

} // namespace

// Small, large and far away, where an element keeps the measures that its rounded coordinates have.
TEST(TetrahedronMeasures, AgreeWithFormulasOfEdgeLengths) {
    std::mt19937 random(seed);
    for (int i = 0; i < 3000 && !HasFailure(); ++i) {
        bool const far = i % 10 == 0;
        Tetrahedron t =
            RandomTetrahedron(random, i % 3 == 0 ? 100.0 : 1.0, far ? Vector(1e6, -1e6, 1e6) : Vector());
        auto const expected = FromLengths(t).Measures();
        for (Measure<double> const& measure : AllMeasures<double>())
            // These two go through a rounded far-away point: the centroid, the circumcentre.
            if (!far ||
                (measure.name != "QualityFluentOrthogonalQuality" && measure.name != "GetCosLargestMidAngle"))
                ExpectClose(measure.value(t), expected.at(measure.name), far ? 1e-10 : 2e-11, measure.name);
    }
}

TEST(TetrahedronMeasures, AgreeWithVerdict) {
    using namespace KetSDK::Mesh::Detail;
    std::mt19937 random(seed);
    for (int i = 0; i < 3000; ++i) {
        Tetrahedron t = RandomTetrahedron(random, 1.0, {});
        if (i % 2 == 1) // inverted: Verdict keeps the sign in these
            t = Tetrahedron(t.GetVertex(1), t.GetVertex(0), t.GetVertex(2), t.GetVertex(3));
        double rows[4][3];
        for (unsigned int v = 0; v < 4; ++v)
            for (unsigned int c = 0; c < 3; ++c)
                rows[v][c] = t.GetVertex(v)[c];
        ExpectClose(t.QualityJacobian(), VerdictTetJacobian(4, rows), 1e-13, "Jacobian");
        ExpectClose(t.QualityScaledJacobian(), VerdictTetScaledJacobian(4, rows), 1e-13, "scaled Jacobian");
        ExpectClose(t.Volume(), VerdictTetVolume(4, rows), 1e-12, "volume");
        if (i % 2 == 0)
            ExpectClose(1.0 / t.QualitySpheres(), VerdictTetRadiusRatio(4, rows), 1e-12, "radius ratio");
    }
}

// Mirrors only change the sign of what has one.
TEST(TetrahedronMeasures, KnowMirrors) {
    std::mt19937 random(seed);
    for (int i = 0; i < 200; ++i) {
        Tetrahedron t = RandomTetrahedron(random, 1.0, {}), mirror = t;
        for (unsigned int v = 0; v < 4; ++v)
            mirror.SetVertex(v, Vector(-t.GetVertex(v)[0], t.GetVertex(v)[1], t.GetVertex(v)[2]));
        for (auto const& [name, value] : AllMeasures<double>()) {
            // The outward normals of a mirrored element point inwards on all faces alike.
            bool const is_signed = name == "Volume" || name.ends_with("Jacobian") ||
                                   name.ends_with("SizeSkew") || name.ends_with("Factor") ||
                                   name.ends_with("ElementQuality");
            if (name == "QualityMeanRatio")
                EXPECT_TRUE(std::isnan(value(mirror)));
            else if (name == "QualityFluentOrthogonalQuality")
                EXPECT_LT(value(mirror), 0.0);
            else
                ExpectClose(value(mirror), is_signed ? -value(t) : value(t), 1e-12, name + " mirrored");
        }
    }
}
