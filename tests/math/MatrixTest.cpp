// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Math/MathCore/MGeneralMatrix.h>
#include <KetSDK/Math/MathCore/MMTransform.h>
#include <KetSDK/Math/MathCore/MMatrix3x3.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <random>

namespace {

using Vector = MMVector<double, 3>;

constexpr unsigned int seed = 4711;

// Numbers in [-1, 1].
struct Random {
    std::mt19937 bits{seed};
    std::uniform_real_distribution<double> entry{-1.0, 1.0};
    double operator()() { return entry(bits); }
    Vector Point() { return {(*this)(), (*this)(), (*this)()}; }
};

double Difference(Vector const& a, Vector const& b) {
    return (a - b).Length();
}

// By permutations: the definition.
double Leibniz(MGeneralMatrix const& m) {
    std::vector<std::size_t> order(m.GetSize());
    std::iota(order.begin(), order.end(), std::size_t{0});
    long double sum = 0;
    do {
        long double term = 1;
        for (std::size_t i = 0; i < order.size(); ++i) {
            term *= m(i, order[i]);
            for (std::size_t j = 0; j < i; ++j)
                term = order[j] > order[i] ? -term : term;
        }
        sum += term;
    } while (std::next_permutation(order.begin(), order.end()));
    return static_cast<double>(sum);
}

} // namespace

TEST(Matrix3x3, SolvesAtEverySize) {
    Random random;
    for (int i = 0; i < 1000; ++i)
        for (double const scale : {1e-60, 1e-6, 1.0, 1e6, 1e60}) {
            MMatrix3x3 const m(random.Point() * scale, random.Point() * scale, random.Point() * scale);
            Vector const x = random.Point();
            Vector solution;
            ASSERT_TRUE(m.Solve(m * x, solution));
            double const condition = scale * scale * scale / std::fabs(m.Determinant());
            EXPECT_LE(Difference(x, solution), 1e-14 * condition) << "seed " << seed;
        }
}

// Sizes whose product no number holds.
TEST(Matrix3x3, SolvesBeyondTheRangeOfItsDeterminant) {
    for (double const scale : {1e-150, 1e-110, 1e110, 1e150}) {
        MMatrix3x3 const m({2 * scale, 0, 0}, {scale, scale, 0}, {0, scale, 4 * scale});
        Vector x;
        ASSERT_TRUE(m.Solve({2 * scale, 3 * scale, 6 * scale}, x)) << scale;
        EXPECT_LT((x - Vector(1, 2, 1)).Length(), 1e-14);
        EXPECT_FALSE(
            MMatrix3x3({scale, scale, 0}, {2 * scale, 2 * scale, 0}, {0, 0, scale}).Solve({1, 1, 1}, x));
    }
}

// Rounding leaves a determinant of flat rows: it must not pass for a volume, and a real one of 1e-9 must.
TEST(Matrix3x3, TellsFlatFromThin) {
    Random random;
    int flat = 0;
    for (int i = 0; i < 20000; ++i) {
        double const scale = std::pow(10.0, 6.0 * random());
        auto const turn = MMTransformMatrix::Rotation(random.Point(), 3.0 * random());
        Vector plane[4];
        for (Vector& p : plane)
            p = Vector(random(), random(), 0.0) * scale;
        Vector const lifted = turn.Apply(plane[3] + Vector(0.0, 0.0, 1e-9 * scale));
        for (Vector& p : plane)
            p = turn.Apply(p);
        Vector const r1 = plane[1] - plane[0], r2 = plane[2] - plane[0];
        Vector ignored;
        flat += !MMatrix3x3(r1, r2, plane[3] - plane[0]).Solve({1, 1, 1}, ignored);
        if (r1.Cross(r2).Length() > 1e-3 * r1.Length() * r2.Length()) {
            EXPECT_TRUE(MMatrix3x3(r1, r2, lifted - plane[0]).Solve({1, 1, 1}, ignored)) << "seed " << seed;
        }
    }
    EXPECT_GE(flat, 19900); // what remains has rows far shorter than the coordinates that were rounded

    Vector x(1, 2, 3);
    EXPECT_FALSE(MMatrix3x3().Solve({1, 1, 1}, x));
    EXPECT_FALSE(MMatrix3x3({1, 2, 3}, {2, 4, 6}, {0, 1, 0}).Solve({1, 1, 1}, x));
    EXPECT_EQ(x, Vector(1, 2, 3));
    // A needle: two rows of 1e-8 across one of 1.
    EXPECT_TRUE(MMatrix3x3({1e-8, 0, 0}, {5e-9, 8e-9, 0}, {0, 0, 1}).Solve({1, 1, 1}, x));
    // Not a number is not singular.
    EXPECT_TRUE(MMatrix3x3({std::numeric_limits<double>::quiet_NaN(), 0, 0}, {0, 1, 0}, {0, 0, 1})
                    .Solve({1, 1, 1}, x));
    EXPECT_TRUE(std::isnan(x[0]));
}

TEST(GeneralMatrix, DeterminantIsTheSumOverPermutations) {
    Random random;
    for (std::size_t n = 0; n <= 7; ++n) {
        MGeneralMatrix m(n);
        for (std::size_t row = 0; row < n; ++row)
            for (std::size_t column = 0; column < n; ++column)
                m(row, column) = random();
        EXPECT_NEAR(m.Determinant(), Leibniz(m), 1e-13) << n << ", seed " << seed;
    }
}

TEST(Transform, TurnsScalesMovesAndComposes) {
    using Matrix = MMTransformMatrix;
    double const quarter = std::numbers::pi / 2.0;
    Matrix const turn = Matrix::Rotation({0, 0, 1}, quarter), step = Matrix::Translation({1, 0, 0});
    struct {
        char const* what;
        Matrix matrix;
        Vector point, image;
    } const table[] = {
        {"identity", Matrix(), {1, 2, 3}, {1, 2, 3}},
        {"translation", Matrix::Translation({1, -1, 2}), {1, 2, 3}, {2, 1, 5}},
        {"scaling", Matrix::Scaling({2, 3, -1}), {1, 2, 3}, {2, 6, -3}},
        {"about z", Matrix::Rotation({0, 0, 5}, quarter), {1, 0, 3}, {0, 1, 3}},
        {"about x", Matrix::Rotation({1, 0, 0}, quarter), {0, 1, 0}, {0, 0, 1}},
        {"off the origin", Matrix::Rotation({0, 0, 1}, quarter, {1, 1, 0}), {2, 1, 0}, {1, 2, 0}},
        {"no axis", Matrix::Rotation({0, 0, 0}, quarter), {1, 2, 3}, {1, 2, 3}},
        {"move, then turn", turn * step, {0, 0, 0}, {0, 1, 0}},
        {"turn, then move", step * turn, {0, 0, 0}, {1, 0, 0}},
    };
    for (auto const& row : table) {
        EXPECT_LE(Difference(MMTransform(row.matrix).Apply(row.point), row.image), 1e-15) << row.what;
        Matrix inverse;
        ASSERT_TRUE(row.matrix.Invert(inverse)) << row.what;
        EXPECT_LE(Difference(inverse.Apply(row.image), row.point), 1e-15) << row.what;
    }
    Matrix const m = Matrix::Translation({9, 9, 9}) * Matrix::Scaling({2, 3, -1});
    EXPECT_EQ(m.Determinant(), -6.0);
    EXPECT_EQ(m.ApplyToDirection({1, 1, 1}), Vector(2, 3, -1));
    Matrix inverse;
    EXPECT_FALSE(Matrix::Scaling({1, 0, 1}).Invert(inverse));
}
