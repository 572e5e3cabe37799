// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "../TestProgress.h"

#include <KetSDK/Mesh/geometry/MMeshQualityAnalysisOperator.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <gtest/gtest.h>

#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

// Runs of the quality analysis, to be compared bit for bit.

inline bool SameBits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

// What a run leaves behind.
struct Outcome {
    bool finished;
    std::vector<double> values, mask;
    std::vector<int> counts;
    double min_range, max_range;
    std::vector<double> progress;
};

inline Outcome RunAnalysis(MMeshBase& mesh, int metric, bool parallel, double cancel_at = 2.0) {
    auto const progress = std::make_shared<RecordingDelegate>(cancel_at);
    MMeshQualityAnalysisOperator analysis;
    analysis.SetMesh(&mesh);
    analysis.SetCurrentMetric(static_cast<MMeshQualityAnalysisOperator::QualityType>(metric));
    analysis.SetParallel(parallel);
    analysis.SetProgressDelegate(progress);
    Outcome outcome;
    outcome.finished = analysis.Operate();
    QualityHistogram<int, double> const& histogram = *analysis.GetQualityHistogram();
    outcome.values.assign(histogram.GetValues().begin(), histogram.GetValues().end());
    for (unsigned int i = 0; outcome.finished && i < histogram.GetNbPartitions(); ++i)
        outcome.counts.push_back(histogram.GetPartitionCount(i));
    outcome.min_range = histogram.GetMinRange();
    outcome.max_range = histogram.GetMaxRange();
    for (MMeshElement const& e : mesh.Elements())
        outcome.mask.push_back(analysis.GetQualityMask()->GetValue(e));
    outcome.progress = progress->m_fractions;
    return outcome;
}

inline void ExpectSame(Outcome const& a, Outcome const& b) {
    EXPECT_EQ(a.finished, b.finished);
    EXPECT_TRUE(std::ranges::equal(a.values, b.values, SameBits));
    EXPECT_TRUE(std::ranges::equal(a.mask, b.mask, SameBits));
    EXPECT_EQ(a.counts, b.counts);
    EXPECT_TRUE(SameBits(a.min_range, b.min_range) && SameBits(a.max_range, b.max_range));
    EXPECT_EQ(a.progress, b.progress);
}

// One, two and four threads give the results of none, also when the run is cancelled near its end.
inline void ExpectSameOnThreads(MMeshBase& mesh, int metric) {
    Outcome const sequential = RunAnalysis(mesh, metric, false);
    Outcome const cancelled = RunAnalysis(mesh, metric, false, 0.8);
    EXPECT_TRUE(sequential.finished);
    EXPECT_FALSE(cancelled.finished);
    for (std::size_t const threads : {1u, 2u, 4u}) {
        SCOPED_TRACE(threads);
        tbb::global_control const limit(tbb::global_control::max_allowed_parallelism, threads);
        tbb::task_arena(static_cast<int>(threads)).execute([&] {
            ExpectSame(RunAnalysis(mesh, metric, true), sequential);
            ExpectSame(RunAnalysis(mesh, metric, true, 0.8), cancelled);
        });
    }
}
