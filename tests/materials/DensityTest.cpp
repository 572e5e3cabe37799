// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MDensityExpression.h>
#include <KetSDK/Mesh/materials/MDensityLookup.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <limits>

TEST(DensityExpression, IsAPowerLawOnceAllCoefficientsAreSet) {
    struct {
        double coefficients[5], x, density;
    } const cases[] = {
        {{1, 2, 1, 0, 0}, 3, 7},
        {{0.5, 2, 2, -1, 0.5}, 16, 508.5},
        {{1, 2, 2, 0, 0}, -3, 19},
        {{1, 2, 1, 0, 0}, DBL_MAX, DBL_MAX},
        {{DBL_MAX, 2, 1, 0, 0}, 3, DBL_MAX},
        {{1, 2, 1, 0, DBL_MAX}, 3, DBL_MAX},
    };
    for (auto const& [k, x, density] : cases) {
        MDensityExpression expression;
        EXPECT_EQ(expression.CalcExpression(x), DBL_MAX);
        EXPECT_TRUE(expression.ChangeExpression(k[0], k[1], k[2], k[3], k[4]));
        EXPECT_EQ(expression.CalcExpression(x), density);
    }
}

TEST(DensityLookup, AMaterialHoldsFromItsThresholdToTheNext) {
    MDensityLookup lookup;
    EXPECT_EQ(lookup.GetMaterialId(3, 1.0), 0xFFFFFFFF);
    lookup.AddMaterial(3, 3, 2.0);
    lookup.AddMaterial(3, 1, 0.5);
    lookup.AddMaterial(3, 2, 1.0);
    lookup.AddMaterial(0, 9, 4.0);
    lookup.Sort();
    struct {
        unsigned short index;
        double density;
        unsigned int id;
    } const cases[] = {{3, 0.1, 1}, {3, 0.5, 1},          {3, 1.0, 2},
                       {3, 1.5, 2}, {3, 5.0, 3},          {0, -1.0, 9},
                       {0, 7.0, 9}, {1, 1.0, 0xFFFFFFFF}, {3, std::numeric_limits<double>::quiet_NaN(), 3}};
    for (auto const& [index, density, id] : cases)
        EXPECT_EQ(lookup.GetMaterialId(index, density), id) << index << " " << density;
}
