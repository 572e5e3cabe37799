// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/QualityStatistics.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

using namespace KetSDK::Mesh;

namespace {

constexpr double Endless = std::numeric_limits<double>::infinity();
constexpr double NoNumber = std::numeric_limits<double>::quiet_NaN();
constexpr double LargestDouble = std::numeric_limits<double>::max();
constexpr double SmallestDouble = std::numeric_limits<double>::denorm_min();

using Doubles = std::vector<double>;

template <typename Make>
Doubles Generate(std::size_t count, Make const& make) {
    std::mt19937 random(11);
    Doubles values(count);
    std::ranges::generate(values, [&] { return make(random); });
    return values;
}

// Doubles spread in ways that suit bins of equal width, and in ways that do not.
std::vector<std::pair<std::string, Doubles>> Spreads() {
    auto const uniform = [](std::mt19937& random) {
        return std::uniform_real_distribution(-3.0, 5.0)(random);
    };
    std::vector<std::pair<std::string, Doubles>> spreads = {
        {"one", {7.5}},
        {"two", {2.0, -1.0}},
        {"equal", Doubles(1000, 0.25)},
        {"uniform", Generate(20011, uniform)},
        {"few different ones",
         Generate(5000, [](auto& random) { return static_cast<double>(random() % 3); })},
        {"over many magnitudes",
         Generate(9001, [&](auto& random) { return std::exp(60.0 * uniform(random)); })},
        {"as far apart as can be",
         {LargestDouble, -LargestDouble, 1.0, 2.0, 3.0, -LargestDouble, LargestDouble, 0.0}},
        {"next to nothing", {0.0, SmallestDouble, 3 * SmallestDouble, 2 * SmallestDouble, SmallestDouble}},
        {"partly not finite", Generate(3000, [](auto& random) {
             return random() % 5 == 0 ? (random() % 2 == 0 ? NoNumber : -Endless)
                                      : static_cast<double>(random() % 1000);
         })}};
    Doubles far_off = Generate(4000, uniform);
    far_off[17] = 1e300;
    spreads.emplace_back("with one far off", std::move(far_off));
    return spreads;
}

} // namespace

TEST(QualityStatistics, PercentilesAreThoseOfSortedValues) {
    for (auto const& [name, values] : Spreads())
        for (bool const parallel : {false, true}) {
            SCOPED_TRACE(name);
            QualityStatistics const found = Summarize(values, parallel);
            Doubles sorted;
            std::ranges::copy_if(values, std::back_inserter(sorted),
                                 [](double v) { return std::isfinite(v); });
            EXPECT_EQ(found.nonfinite, values.size() - sorted.size());
            long double const sum = std::accumulate(sorted.begin(), sorted.end(), 0.0L);
            long double const mean = sum / static_cast<long double>(sorted.size());
            double const size = std::max(std::fabs(found.min), std::fabs(found.max));
            EXPECT_NEAR(found.mean, static_cast<double>(mean), 1e-12 * size);
            std::ranges::sort(sorted);
            EXPECT_EQ(found.min, sorted.front());
            EXPECT_EQ(found.max, sorted.back());
            for (std::size_t i = 0; i < found.percentiles.size(); ++i) {
                auto const rank = static_cast<std::size_t>(
                    std::ceil(static_cast<double>(sorted.size() * QualityStatistics::Percents[i]) / 100.0));
                EXPECT_EQ(found.percentiles[i], sorted[rank - 1]) << QualityStatistics::Percents[i] << " %";
            }
        }
    EXPECT_EQ(Summarize(Doubles{LargestDouble, 1.0, 2.0, -LargestDouble}).mean, 0.75);
    QualityStatistics const none = Summarize(Doubles{NoNumber, Endless});
    EXPECT_EQ(none.nonfinite, 2u);
    EXPECT_FALSE(none.HasFinite());
    EXPECT_TRUE(std::isnan(none.mean) && std::isnan(none.GetMedian()));
}

TEST(QualityStatistics, TheWorstComeFirstAndEqualOnesInTheirOrder) {
    Doubles const values = {0.5, NoNumber, -2.0, 4.0, -2.0, Endless, 4.0, -0.5, 0.5};
    struct {
        QualityMetric::Worst worst;
        std::vector<std::uint32_t> order;
    } const cases[] = {{QualityMetric::Worst::Lowest, {1, 5, 2, 4, 7, 0, 8, 3, 6}},
                       {QualityMetric::Worst::Highest, {1, 5, 3, 6, 0, 8, 7, 2, 4}},
                       {QualityMetric::Worst::NegativeThenHighest, {1, 5, 2, 4, 7, 3, 6, 0, 8}}};
    for (auto const& [worst, order] : cases) {
        QualityMetric metric = QualityMetrics().front();
        metric.worst = worst;
        for (std::size_t count = 0; count <= order.size() + 1; ++count)
            EXPECT_EQ(FindWorst(metric, values, count),
                      std::vector(order.begin(),
                                  order.begin() + static_cast<std::ptrdiff_t>(std::min(count, order.size()))))
                << count;
    }
}
