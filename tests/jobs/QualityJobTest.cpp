// SPDX-License-Identifier: BSD-3-Clause
// The job that measures, called as a user of the library calls it.
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshJobs/Quality.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <string>
#include <variant>
#include <vector>

namespace {

using namespace KetSDK::MeshJobs;
using Side = KetSDK::Mesh::QualityThreshold::Side;

Model ReadData(std::string const& name) {
    return ReadModel(KETSDK_DATA_DIR "/" + name, {}, {});
}

std::filesystem::path TemporaryPath(std::string const& name) {
    return std::filesystem::path(testing::TempDir()) / ("jobs_" + name);
}

} // namespace

TEST(QualityJob, FiguresAreThoseOfTheValuesThatItKeeps) {
    Model model = ReadData("head_small_tet4.vtu");
    QualityOptions options;
    options.metrics = "Volume,ScaledJacobian,Volume";
    options.bad = {Side::Above, 0.5};
    options.worst = 3;
    options.keep_values = true;
    QualityResult const result = Quality(model, options, {});
    ASSERT_EQ(result.metrics.size(), 2u);
    ASSERT_EQ(result.values.size(), 3u); // with `bad`
    EXPECT_NEAR(result.metrics[0].statistics.mean * static_cast<double>(result.elements),
                model.mesh->GetVolume(), 1e-6);
    for (std::size_t i = 0; i < 2; ++i) {
        MetricReport const& report = result.metrics[i];
        SCOPED_TRACE(report.metric->name);
        auto const& values = std::get<std::vector<double>>(result.values[i].values);
        ASSERT_EQ(values.size(), result.elements);
        EXPECT_EQ(report.bad, std::ranges::count_if(values, [](double v) { return v > 0.5; }));
        EXPECT_EQ(report.statistics.min, std::ranges::min(values));
        EXPECT_EQ(report.statistics.max, std::ranges::max(values));
        EXPECT_EQ(static_cast<std::uint64_t>(
                      std::accumulate(report.bins.counts.begin(), report.bins.counts.end(), 0)) +
                      report.CountOutside(),
                  result.elements);
        ASSERT_EQ(report.worst.size(), 3u);
        std::vector<double> sorted = values;
        std::ranges::sort(sorted);
        for (std::size_t k = 0; k < 3; ++k) {
            EXPECT_EQ(report.worst[k].value, sorted[k]);
            EXPECT_EQ(values[report.worst[k].element], sorted[k]);
        }
        SetArray(model.arrays, result.values[i]);
    }
    std::string const file = TemporaryPath("quality.kmesh").string();
    WriteModel(model, file, {}, {});
    Model const again = ReadModel(file, {}, {});
    MMeshArray const* const kept = FindArray(again.arrays, L"ScaledJacobian", MMeshArray::OnElements);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(*kept, result.values[1]);
    std::filesystem::remove(file);
}
