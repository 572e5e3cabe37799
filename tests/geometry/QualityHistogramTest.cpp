// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/QualityHistogram.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>

namespace {

using Histogram = QualityHistogram<int, double>;
constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

// One value binned as the bins are defined: -1 when it is in none.
std::int64_t Bin(double v, double low, double high, unsigned int n) {
    double const quotient = std::floor((v - low) / ((high - low) / n));
    if (std::isnan(quotient) || std::isinf(quotient) || quotient < 0.0)
        return -1;
    if (quotient >= n)
        return std::fabs(v - high) < 1e-14 ? std::int64_t{n} - 1 : -1;
    return static_cast<std::int64_t>(quotient);
}

std::vector<unsigned int> Counts(auto const& histogram) {
    std::vector<unsigned int> counts;
    for (unsigned int i = 0; i < histogram.GetNbPartitions(); ++i)
        counts.push_back(static_cast<unsigned int>(histogram.GetPartitionCount(i)));
    return counts;
}

template <typename CountT>
QualityHistogram<CountT, double> Of(std::vector<double> const& values, unsigned int n, double low,
                                    double high) {
    QualityHistogram<CountT, double> histogram;
    histogram.SetNbPartitions(n);
    histogram.SetMinRange(low);
    histogram.SetMaxRange(high);
    histogram.AddValues(values);
    return histogram;
}

} // namespace

TEST(QualityHistogram, EveryWayOfBinningCountsValueByValue) {
    constexpr unsigned int seed = 5;
    std::mt19937_64 random(seed);
    std::normal_distribution<double> normal(0.5, 0.4);
    std::vector<double> values;
    for (int i = 0; i < 200000; ++i)
        values.push_back(normal(random));
    for (double const edge :
         {0.0, 0.1, 0.3, 1.0, -7.0, 1e-20, 1e-200}) // on bounds, and on both sides of them
        for (double const v : {edge, std::nextafter(edge, Infinity), std::nextafter(edge, -Infinity)})
            values.insert(values.end() - 1000, {v, -v, v + 1e-15, v + 1e-13});
    values.insert(values.begin() + 3,
                  {not_a_number, Infinity, -Infinity, DBL_MAX, -DBL_MAX, DBL_MIN, -0.0, 1e10, 3e9});

    struct Range {
        double low, high;
    };
    for (Range const range : {Range{0.0, 1.0},
                              {-1.0, 2.5},
                              {0.3, 0.1},
                              {0.1, 0.1},
                              {0.0, 1e-200},
                              {-7.0, 1e10},
                              {-DBL_MAX, DBL_MAX},
                              {0.0, Infinity},
                              {not_a_number, 1.0}})
        for (unsigned int const n : {1u, 3u, 10u, 5000u, 1000000u}) {
            SCOPED_TRACE(testing::Message()
                         << "seed " << seed << ", " << n << " bins of " << range.low << " to " << range.high);
            std::vector<unsigned int> expected(n);
            for (double const v : values)
                if (auto const bin = Bin(v, range.low, range.high, n); bin >= 0)
                    ++expected[static_cast<std::size_t>(bin)];
            auto at_once = Of<int>(values, n, range.low, range.high);
            auto parallel = Of<unsigned int>(values, n, range.low, range.high);
            auto one_by_one = Of<int>({}, n, range.low, range.high);
            at_once.ComputeHistogram();
            parallel.ComputeHistogram(true);
            int counted = 0;
            for (double const v : values)
                counted += one_by_one.UpdateHistogram(v);
            EXPECT_TRUE(Counts(at_once) == expected);
            EXPECT_TRUE(Counts(parallel) == expected);
            EXPECT_TRUE(Counts(one_by_one) == expected);
            EXPECT_EQ(at_once.GetTotalSum(), counted);
        }
}

TEST(QualityHistogram, CountsStayUntilThePartitionsAreSetAgain) {
    Histogram histogram;
    EXPECT_EQ(histogram.GetNbPartitions(), 10u);
    for (double const v : {0.2, 0.5, 0.7, not_a_number})
        histogram.AddValue(v);
    EXPECT_EQ(histogram.GetNbElementsLowerThanThreshold(0.5), 1);
    histogram.SetNbPartitions(2);
    histogram.SetMaxRange(1.0);
    histogram.ComputeHistogram();
    histogram.ComputeHistogram();
    EXPECT_EQ(Counts(histogram), (std::vector<unsigned int>{2, 4}));
    histogram.IncreasePartitionCount(0, 5);
    Histogram const copy = histogram;
    histogram.SetNbPartitions(0);
    EXPECT_FALSE(histogram.UpdateHistogram(0.5));
    EXPECT_EQ(copy.GetTotalSum(), 11);
    EXPECT_EQ(copy.GetValues().size(), 4u);
    EXPECT_EQ(copy.GetPartitionMax(0), 0.5);
    EXPECT_EQ(copy.GetPartitionMin(1), 0.5);

    // One value, so an empty range: counted nowhere.
    Histogram single;
    single.AddValue(3.0);
    single.ComputeHistogram();
    EXPECT_EQ(single.GetTotalSum(), 0);
}
