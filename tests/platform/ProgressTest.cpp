// SPDX-License-Identifier: BSD-3-Clause
#include "TestProgress.h"

#include <KetSDK/Common/Progress/BranchingProgressReporter.h>
#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Common/Progress/IndeterminateProgressReporter.h>

#include <gtest/gtest.h>

#include <random>

using namespace KetSDK::Common;

TEST(Progress, StepsReachTheEndInAboutAThousandCalls) {
    for (unsigned long long const steps : {0ULL, 1ULL, 7ULL, 999ULL, 1001ULL, 123457ULL}) {
        auto const delegate = std::make_shared<RecordingDelegate>();
        {
            IncrementalProgressReporter reporter(delegate, "steps", steps, true);
            for (unsigned long long i = 0; i < steps + 5; ++i) { // a few too many
                ++reporter;
            }
            EXPECT_EQ(delegate->Last(), 1.0) << steps;
        }
        EXPECT_FALSE(delegate->m_running);
        EXPECT_LE(delegate->m_fractions.size(), 1200U) << steps;
    }
}

TEST(Progress, PositionsAreClampedAndNeverReportedBackwards) {
    auto const delegate = std::make_shared<RecordingDelegate>();
    {
        IncrementalProgressReporter reporter(delegate, "positions", 3, true);
        reporter = 2;
        EXPECT_EQ(delegate->Last(), 2.0 / 3.0);
        reporter = 1;
        ++reporter; // 2 again: nothing new
        EXPECT_EQ(delegate->Last(), 2.0 / 3.0);
    }
    EXPECT_EQ(delegate->Last(), 2.0 / 3.0) << "a phase may end before its last step";
    IncrementalProgressReporter reporter(delegate, "beyond", 3, true);
    reporter = 99;
    EXPECT_EQ(delegate->Last(), 1.0);
}

// Ten tenths of ten tenths, and random fractions of random depth, end at exactly 1. The recording
// delegate sees to it that nothing goes backwards and that nested phases do not begin or end.
TEST(Progress, NestedFractionsMultiplyAndReachTheEnd) {
    auto const delegate = std::make_shared<RecordingDelegate>();
    {
        BranchingProgressReporter outer(delegate, "outer", true);
        for (int i = 0; i < 10; ++i) {
            BranchingProgressReporter inner(outer.CreateNestedDelegate(0.1), "inner", true);
            for (int k = 0; k < 10; ++k) {
                IncrementalProgressReporter steps(inner.CreateNestedDelegate(0.1), "steps", 2, true);
                ++steps;
                EXPECT_NEAR(delegate->Last(), 0.1 * i + 0.01 * k + 0.005, 1e-12);
                if (k % 2 == 0) {
                    ++steps; // the others end half-way, and leave their range behind all the same
                }
            }
            EXPECT_NEAR(delegate->Last(), 0.1 * (i + 1), 1e-12);
        }
        EXPECT_EQ(delegate->Last(), 1.0);
    }
    EXPECT_EQ(delegate->m_labels, std::vector<std::string>{"outer"});

    std::mt19937 random(20240611);
    std::uniform_real_distribution<double> fraction(-0.1, 0.4);
    for (int run = 0; run < 50; ++run) {
        BranchingProgressReporter outer(delegate, "random", true);
        for (unsigned i = 0; i < 40; ++i) { // far more than fits: the sum is cut off at 1
            IncrementalProgressReporter steps(outer.CreateNestedDelegate(fraction(random)), "x", i % 3, true);
            ++steps;
        }
        EXPECT_EQ(delegate->Last(), 1.0) << "run " << run;
    }
}

TEST(Progress, NestedRangesStartWhereThePhaseStands) {
    auto const delegate = std::make_shared<RecordingDelegate>();
    IncrementalProgressReporter outer(delegate, "outer", 4, true);
    ++outer;
    auto const first = outer.CreateNestedDelegate(0.25);
    auto const second = outer.CreateNestedDelegate(0.25); // made before the first was used
    second->Advance(0.5);
    EXPECT_EQ(delegate->Last(), 0.625);
    first->Advance(1.0); // already passed
    second->End();
    EXPECT_EQ(delegate->Last(), 0.75);
}

TEST(Progress, CancellationTravelsThroughNesting) {
    auto const delegate = std::make_shared<RecordingDelegate>();
    BranchingProgressReporter outer(delegate, "outer", true);
    {
        IndeterminateProgressReporter middle(outer.CreateNestedDelegate(0.5), "middle", true);
        IncrementalProgressReporter inner(middle.CreateNestedDelegate(1.0), "inner", 10, true);
        IncrementalProgressReporter const steadfast(outer.CreateNestedDelegate(0.5), "steadfast", 10, false);
        EXPECT_FALSE(inner.IsCancelled());
        delegate->m_cancel_at = 0.0;
        EXPECT_TRUE(outer.IsCancelled() && middle.IsCancelled() && inner.IsCancelled());
        EXPECT_FALSE(steadfast.IsCancelled()) << "a phase that cannot be cancelled";
    }
    EXPECT_LT(delegate->Last(), 1.0) << "a cancelled step does not claim to be done";
}

TEST(Progress, WorksWithoutDelegateAndAfterTheReporter) {
    IncrementalProgressReporter silent(nullptr, "silent", 3, true);
    ++silent;
    EXPECT_FALSE(silent.IsCancelled() || silent.CreateNestedDelegate(0.5)->IsCancelled());

    auto const delegate = std::make_shared<RecordingDelegate>();
    auto const orphan = BranchingProgressReporter(delegate, "outer", true).CreateNestedDelegate(0.5);
    IncrementalProgressReporter late(orphan, "late", 1, true);
    ++late;
    EXPECT_EQ(delegate->Last(), 0.0);
    EXPECT_FALSE(delegate->m_running);
}
