// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Support/ParallelWork.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace KetSDK::Support {

namespace {

using Compute = std::function<void(std::uint64_t, std::uint64_t, std::size_t)>;
using Commit = std::function<bool(std::uint64_t, std::uint64_t, std::size_t)>;

// A group of tasks that has ended when the object is gone, also when an exception leaves its scope.
class Group {
public:
    explicit Group(tbb::task_group_context& context)
        : m_context(context)
        , m_group(context) {}
    Group(Group const&) = delete;
    Group& operator=(Group const&) = delete;
    ~Group() {
        Cancel();
        try {
            m_group.wait();
        } catch (...) {
            // The exception that is on its way counts.
        }
    }

    template <typename Work>
    void Run(Work const& work) {
        m_group.run(work);
    }
    void Wait() { m_group.wait(); }
    void Cancel() { m_context.cancel_group_execution(); }

private:
    tbb::task_group_context& m_context;
    tbb::task_group m_group;
};

// Runs work(context) apart from the caller's tasks.
template <typename Work>
auto Apart(Work const& work) {
    return tbb::this_task_arena::isolate([&work] {
        tbb::task_group_context context(tbb::task_group_context::isolated);
        return work(context);
    });
}

// One run over all steps, by their numbers.
class Run {
public:
    Run(WorkSteps const& steps, Compute const& compute, Commit const& commit)
        : m_steps(steps)
        , m_count(steps.NumberOfSteps())
        , m_slots(std::max<std::uint64_t>(steps.NumberOfSlots(), 1))
        , m_compute(compute)
        , m_commit(commit) {}

    std::uint64_t Count() const noexcept { return m_count; }
    std::uint64_t Slots() const noexcept { return m_slots; }
    std::uint64_t Grain() const noexcept { return m_steps.grain; }

    void ComputeStep(std::uint64_t step) const { m_compute(First(step), Last(step), Slot(step)); }
    bool CommitStep(std::uint64_t step) const { return m_commit(First(step), Last(step), Slot(step)); }
    // Steps that follow one another by less than the number of slots never share one.
    std::size_t Slot(std::uint64_t step) const noexcept { return static_cast<std::size_t>(step % m_slots); }

private:
    std::uint64_t First(std::uint64_t step) const noexcept { return step * m_steps.step; }
    std::uint64_t Last(std::uint64_t step) const noexcept {
        return First(step) + std::min(m_steps.step, m_steps.items - First(step));
    }

    WorkSteps const& m_steps;
    std::uint64_t m_count;
    std::uint64_t m_slots;
    Compute const& m_compute;
    Commit const& m_commit;
};

bool OneByOne(Run const& run) {
    for (std::uint64_t step = 0; step < run.Count(); ++step) {
        run.ComputeStep(step);
        if (!run.CommitStep(step))
            return false;
    }
    return true;
}

// Threads take the next steps as soon as there are slots for them. The calling thread commits a step as soon
// as it and all before it are computed, and computes steps itself while none is. Nobody waits for a window to
// end: waiting, and waking threads up again, would cost a third of the time of short steps.
class Pipeline {
public:
    Pipeline(Run const& run, tbb::task_group_context& context)
        : m_run(run)
        , m_computed(static_cast<std::size_t>(run.Slots()))
        , m_limit(run.Slots() - 1)
        , m_helpers(NumberOfThreads() - 1)
        , m_group(context) {}
    Pipeline(Pipeline const&) = delete;
    Pipeline& operator=(Pipeline const&) = delete;
    ~Pipeline() { m_stop = true; } // the group waits for those that are at work

    bool ComputeAndCommit() {
        for (std::uint64_t step = 0; step < m_run.Count(); ++step) {
            WaitFor(step);
            if (m_stop)
                break;
            // While this step is committed, its slot is the only one that is not to be had.
            m_limit.store(std::min(m_run.Count(), step + m_run.Slots()), std::memory_order_release);
            CallHelpers();
            if (!m_run.CommitStep(step))
                return false;
        }
        m_group.Wait(); // throws what a helper met
        return true;
    }

private:
    // Of one who finds nothing to do, before a helper leaves and the calling thread sleeps.
    static constexpr int LookOuts = 200;

    // Computes steps while it is not computed.
    void WaitFor(std::uint64_t step) {
        for (int idle = 0; !IsComputed(step) && !m_stop; ++idle) {
            CallHelpers();
            if (ComputeNext())
                idle = 0;
            else if (idle < LookOuts)
                std::this_thread::yield();
            else
                std::this_thread::sleep_for(std::chrono::microseconds(20));
        }
    }

    bool IsComputed(std::uint64_t step) const noexcept {
        return m_computed[m_run.Slot(step)].load(std::memory_order_acquire) == step + 1;
    }

    // Takes the next few steps and computes them; false when there are none that have slots.
    bool ComputeNext() {
        std::uint64_t first = m_next.load(std::memory_order_relaxed);
        std::uint64_t last = 0;
        do {
            std::uint64_t const limit = m_limit.load(std::memory_order_acquire);
            if (first >= limit)
                return false;
            last = std::min(limit, first + m_run.Grain());
        } while (!m_next.compare_exchange_weak(first, last, std::memory_order_relaxed));
        for (std::uint64_t step = first; step < last && !m_stop; ++step) {
            m_run.ComputeStep(step);
            m_computed[m_run.Slot(step)].store(step + 1, std::memory_order_release);
        }
        return true;
    }

    // As many as there are threads, when there is enough to do that calling them pays.
    void CallHelpers() {
        std::uint64_t const next = m_next.load(std::memory_order_relaxed);
        std::uint64_t const limit = m_limit.load(std::memory_order_relaxed);
        if (next >= limit || 4 * (limit - next) < m_run.Slots())
            return;
        while (m_active.load(std::memory_order_relaxed) < m_helpers) {
            ++m_active;
            m_group.Run([this] { Help(); });
        }
    }

    void Help() {
        try {
            for (int idle = 0; idle < LookOuts && !m_stop && m_next < m_run.Count(); ++idle) {
                if (ComputeNext())
                    idle = 0;
                else
                    std::this_thread::yield();
            }
        } catch (...) {
            m_stop = true;
            throw;
        }
        --m_active;
    }

    Run const& m_run;
    std::vector<std::atomic<std::uint64_t>> m_computed; // by slot: the step that was computed last, and one
    std::atomic<std::uint64_t> m_next = 0;              // no step below is to be had
    std::atomic<std::uint64_t> m_limit;                 // nor is one from here on
    std::atomic<std::size_t> m_active = 0;
    std::atomic<bool> m_stop = false;
    std::size_t m_helpers;
    Group m_group; // goes first
};

} // namespace

bool ComputeSteps(WorkSteps const& steps, Compute const& compute, Commit const& commit) {
    Run const run(steps, compute, commit);
    if (!steps.parallel || run.Count() <= 1 || NumberOfThreads() == 1)
        return OneByOne(run);
    return Apart(
        [&run](tbb::task_group_context& context) { return Pipeline(run, context).ComputeAndCommit(); });
}

void ComputeSteps(WorkSteps const& steps, std::function<void(std::uint64_t, std::uint64_t)> const& compute) {
    std::uint64_t const count = steps.NumberOfSteps();
    auto const compute_steps = [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t step = begin; step < end; ++step)
            compute(step * steps.step,
                    step * steps.step + std::min(steps.step, steps.items - step * steps.step));
    };
    if (!steps.parallel || count <= 1)
        return compute_steps(0, count);
    Apart([&](tbb::task_group_context& context) {
        tbb::parallel_for(
            tbb::blocked_range<std::uint64_t>(0, count, static_cast<std::size_t>(steps.grain)),
            [&](tbb::blocked_range<std::uint64_t> const& range) {
                compute_steps(range.begin(), range.end());
            },
            tbb::simple_partitioner(), context);
    });
}

std::size_t NumberOfThreads() noexcept {
    return static_cast<std::size_t>(std::max(1, tbb::this_task_arena::max_concurrency()));
}

void RunApart(std::function<void()> const& work) {
    Apart([&work](tbb::task_group_context& context) { tbb::task_group(context).run_and_wait(work); });
}

} // namespace KetSDK::Support
