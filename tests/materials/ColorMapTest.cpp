// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMeshColorMap.h>

#include <gtest/gtest.h>

#include <limits>

// The colours were computed in exact fractions.
TEST(ColorMap, ShowsTheMiddleOfEachIntervalOnTheRamp) {
    struct {
        double position;
        unsigned int color;
    } const cases[] = {
        {-1, 0x990000},
        {0, 0x990000},
        {1, 0x990000},
        {300, 0xCD0000},
        {585, 0xFF0000},
        {1000, 0xFFB500},
        {1500, 0x6FE200},
        {2048, 0x00E57F},
        {2500, 0x00D5FF},
        {3000, 0x0059FF},
        {3600, 0x0000F0},
        {4000, 0x0000AA},
        {4096, 0x000099},
        {4096.5, 0x000099},
        {5000, 0x000099},
        {1170.5, 0xFFFF00},
        {std::numeric_limits<double>::quiet_NaN(), 0x990000},
    };
    for (auto const& [position, color] : cases) {
        // Alone, and as the middle of an interval before another one.
        MIntervalsEx<MaterialInterval> one, two;
        one.AddElementAtEnd(position, {});
        two.AddElementAtEnd(position - 64.0, {});
        two.AddElementAtEnd(position + 64.0, {});
        MMeshColorMap map;
        EXPECT_TRUE(map.CreateFromUniqueIntervals(&one));
        EXPECT_EQ(map.GetColor(0), color) << position;
        EXPECT_TRUE(map.CreateFromUniqueIntervals(&two));
        EXPECT_EQ(map.GetColor(0), color) << position;
    }
}
