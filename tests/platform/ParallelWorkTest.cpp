// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Support/ParallelWork.h>

#include <gtest/gtest.h>

#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_sort.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace KetSDK::Support;

namespace {

// Runs work() on one thread, on two and on four.
void OnThreads(std::function<void()> const& work) {
    for (std::size_t const threads : {1u, 2u, 4u}) {
        SCOPED_TRACE(threads);
        tbb::global_control const limit(tbb::global_control::max_allowed_parallelism, threads);
        tbb::task_arena(static_cast<int>(threads)).execute(work);
    }
}

// Runs work() in a task of a group that has been cancelled.
void InACancelledTask(std::function<void()> const& work) {
    tbb::task_group_context outer;
    tbb::parallel_for(
        0, 1,
        [&](int) {
            outer.cancel_group_execution();
            work();
        },
        outer);
}

// What is committed, in its order: sums of the squares of the items of each step.
struct Committed {
    bool finished = false;
    std::vector<std::uint64_t> first, last, sum;
    bool operator==(Committed const&) const = default;
};

Committed SumSquares(WorkSteps const& steps, std::size_t commits) {
    Committed committed;
    auto const owner = std::this_thread::get_id();
    committed.finished = ComputeSteps<std::uint64_t>(
        steps,
        [](std::uint64_t first, std::uint64_t last, std::uint64_t& sum) {
            sum = 0;
            for (std::uint64_t i = first; i < last; ++i)
                sum += i * i;
        },
        [&](std::uint64_t first, std::uint64_t last, std::uint64_t const& sum) {
            EXPECT_EQ(std::this_thread::get_id(), owner);
            committed.first.push_back(first);
            committed.last.push_back(last);
            committed.sum.push_back(sum);
            return committed.sum.size() < commits;
        });
    return committed;
}

} // namespace

TEST(ParallelWork, CommitsTheSameStepsInOrderOnAllThreads) {
    for (std::uint64_t const items : {0u, 1u, 9u, 10u, 11u, 79u, 80u, 81u, 2003u})
        for (std::uint64_t const window : {1u, 4u, 8u})
            for (std::size_t const commits : {1u, 5u, 1000u}) {
                SCOPED_TRACE(testing::Message()
                             << items << " items, windows of " << window << ", " << commits);
                WorkSteps steps{.items = items, .step = 10, .grain = 3, .window = window};
                Committed const expected = SumSquares(steps, commits);
                ASSERT_EQ(expected.sum.size(), std::min<std::uint64_t>(commits, (items + 9) / 10));
                std::uint64_t total = 0;
                for (std::uint64_t i = 0; !expected.last.empty() && i < expected.last.back(); ++i)
                    total += i * i;
                EXPECT_EQ(std::accumulate(expected.sum.begin(), expected.sum.end(), std::uint64_t{0}), total);
                EXPECT_EQ(expected.finished, expected.sum.size() < commits);
                steps.parallel = true;
                OnThreads([&] { EXPECT_TRUE(SumSquares(steps, commits) == expected); });
                InACancelledTask([&] { EXPECT_TRUE(SumSquares(steps, commits) == expected); });
            }
}

TEST(ParallelWork, ExceptionsReachTheCaller) {
    OnThreads([] {
        for (bool const parallel : {false, true})
            for (std::uint64_t const bad : {0u, 3u, 70u}) {
                SCOPED_TRACE(bad);
                WorkSteps const steps{.items = 100, .parallel = parallel, .window = 8};
                std::atomic<int> running = 0;
                std::uint64_t committed = 0;
                auto const throw_at_bad = [bad](std::uint64_t item, char const* what) {
                    if (item == bad)
                        throw std::domain_error(what);
                };
                auto const run = [&](bool in_commit) {
                    ComputeSteps(
                        steps,
                        [&](std::uint64_t item, std::uint64_t, std::size_t) {
                            ++running;
                            std::this_thread::yield();
                            --running;
                            if (!in_commit)
                                throw_at_bad(item, "compute");
                        },
                        [&](std::uint64_t item, std::uint64_t, std::size_t) {
                            if (in_commit)
                                throw_at_bad(item, "commit");
                            EXPECT_EQ(item, committed++);
                            return true;
                        });
                };
                EXPECT_THROW(run(false), std::domain_error);
                EXPECT_EQ(running, 0);
                EXPECT_EQ(committed, bad);
                committed = 0;
                EXPECT_THROW(run(true), std::domain_error);
                EXPECT_EQ(running, 0) << "nothing runs on when the caller has the exception";
                EXPECT_EQ(committed, bad);
            }
    });
}

TEST(ParallelWork, TheFirstStepThatFailsCountsAndThoseBeforeAreCommitted) {
    OnThreads([] {
        for (std::uint64_t const grain : {1u, 3u, 8u})
            for (std::uint64_t const bad : {0u, 1u, 20u, 63u}) {
                SCOPED_TRACE(bad);
                std::uint64_t committed = 0;
                try {
                    ComputeSteps(
                        {.items = 64, .parallel = true, .grain = grain, .window = 16},
                        [bad](std::uint64_t item, std::uint64_t, std::size_t) {
                            if (item == bad) // those behind it fail sooner
                                std::this_thread::sleep_for(std::chrono::milliseconds(2));
                            if (item >= bad)
                                throw item;
                        },
                        [&](std::uint64_t item, std::uint64_t, std::size_t) {
                            EXPECT_EQ(item, committed++);
                            return true;
                        });
                    ADD_FAILURE() << "nothing was thrown";
                } catch (std::uint64_t item) {
                    EXPECT_EQ(item, bad);
                }
                EXPECT_EQ(committed, bad);
            }
    });
}

TEST(ParallelWork, LargeStepsAreAtMostOneForEachThread) {
    tbb::task_arena(3).execute([] {
        EXPECT_EQ(OneStepPerThread(100, 10, 16, true).NumberOfSteps(), 3u);
        EXPECT_EQ(OneStepPerThread(100, 10, 2, true).NumberOfSteps(), 2u);
        EXPECT_EQ(OneStepPerThread(25, 10, 16, true).NumberOfSteps(), 2u) << "each with ten items at least";
        EXPECT_EQ(OneStepPerThread(100, 10, 16, false).NumberOfSteps(), 1u);
        EXPECT_EQ(OneStepPerThread(9, 10, 16, true).NumberOfSteps(), 1u);
        EXPECT_EQ(OneStepPerThread(0, 10, 16, true).NumberOfSteps(), 0u);
    });
}

TEST(ParallelWork, NoThreadIsLostOrWaitedForInVainWhateverStepsAndCommitsTake) {
    // Some hundred turns that do nothing the compiler can leave out.
    auto const spend = [](std::uint64_t turns) {
        for (std::atomic<std::uint64_t> turn = 0; turn < turns;)
            ++turn;
    };
    auto const run = [&](std::uint64_t round) {
        auto const turns = [round](std::uint64_t item, std::uint64_t kind) {
            return (item * 2654435761u + round * 40503u + kind * 7919u) >> 7 & 1023u;
        };
        WorkSteps const steps{.items = 97, .parallel = true, .grain = 1 + round % 5, .window = 1 + round % 9};
        std::vector<std::uint64_t> slots(static_cast<std::size_t>(steps.NumberOfSlots()));
        std::uint64_t next = 0;
        ComputeSteps(
            steps,
            [&](std::uint64_t item, std::uint64_t, std::size_t slot) {
                slots[slot] = item + 1000;
                spend(turns(item, 0));
            },
            [&](std::uint64_t item, std::uint64_t, std::size_t slot) {
                EXPECT_EQ(item, next++);
                EXPECT_EQ(slots[slot], item + 1000);
                spend(turns(item, 1));
                if (item % 16 == 0) // the threads are there for the work of a commit, too
                    ComputeSteps({.items = 20, .parallel = true},
                                 [&](std::uint64_t i, std::uint64_t) { spend(turns(i, 2)); });
                return true;
            });
        EXPECT_EQ(next, steps.items);
    };
    OnThreads([&] {
        for (std::uint64_t round = 0; round < 200; ++round)
            run(round);
    });
}

TEST(ParallelWork, WhatIsOnlyComputedIsComputedOnce) {
    auto const count = [] {
        std::vector<int> counts(1001);
        ComputeSteps({.items = counts.size(), .step = 7, .parallel = true},
                     [&counts](std::uint64_t first, std::uint64_t last) {
                         for (auto i = static_cast<std::size_t>(first); i < last; ++i)
                             ++counts[i];
                     });
        EXPECT_EQ(std::ranges::count(counts, 1), 1001);
    };
    OnThreads(count);
    InACancelledTask(count);
}

TEST(ParallelWork, NoTwoStepsUseAnObjectOfThePoolAtOnce) {
    struct Counted {
        int users = 0;
        std::uint64_t uses = 0;
    };
    OnThreads([] {
        Pool<Counted> pool;
        std::atomic<std::uint64_t> new_objects = 0;
        ComputeSteps({.items = 1000, .parallel = true}, [&](std::uint64_t, std::uint64_t) {
            pool.With([&](Counted& object) {
                EXPECT_EQ(++object.users, 1);
                new_objects += object.uses++ == 0;
                std::this_thread::yield();
                --object.users;
            });
        });
        EXPECT_LE(new_objects, NumberOfThreads());
    });
}

TEST(ParallelWork, AlgorithmsApartFinishWhateverIsCancelledAround) {
    InACancelledTask([] {
        std::vector<int> values(100000);
        std::iota(values.rbegin(), values.rend(), 0);
        auto const caller = std::this_thread::get_id();
        RunApart([&] {
            EXPECT_EQ(std::this_thread::get_id(), caller);
            tbb::parallel_sort(values.begin(), values.end());
        });
        EXPECT_TRUE(std::ranges::is_sorted(values));
    });
    EXPECT_THROW(RunApart([] { throw std::domain_error("work"); }), std::domain_error);
}
