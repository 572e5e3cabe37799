// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Support/ParallelWork.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

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

    bool Sequentially() const {
        for (std::uint64_t step = 0; step < m_count; ++step) {
            ComputeStep(step);
            if (!CommitSteps(step, step + 1))
                return false;
        }
        return true;
    }

    // While a window is committed, the threads compute the next one.
    bool InParallel(tbb::task_group_context& context) const {
        Group group(context);
        std::uint64_t end = EndOfWindow(0);
        ComputeOnThreads(0, end, context);
        bool going_on = true;
        for (std::uint64_t begin = 0; going_on && begin < m_count;) {
            std::uint64_t const next_end = EndOfWindow(end);
            if (end < next_end)
                group.Run([this, end, next_end, &context] { ComputeOnThreads(end, next_end, context); });
            going_on = CommitSteps(begin, end);
            if (!going_on)
                group.Cancel();
            group.Wait();
            begin = end;
            end = next_end;
        }
        return going_on;
    }

private:
    std::uint64_t EndOfWindow(std::uint64_t begin) const noexcept {
        return std::min(begin + m_steps.window, m_count);
    }

    void ComputeOnThreads(std::uint64_t begin, std::uint64_t end, tbb::task_group_context& context) const {
        tbb::parallel_for(
            tbb::blocked_range<std::uint64_t>(begin, end, static_cast<std::size_t>(m_steps.grain)),
            [this](tbb::blocked_range<std::uint64_t> const& range) {
                for (std::uint64_t step = range.begin(); step < range.end(); ++step)
                    ComputeStep(step);
            },
            tbb::simple_partitioner(), context);
    }

    std::uint64_t First(std::uint64_t step) const noexcept { return step * m_steps.step; }
    std::uint64_t Last(std::uint64_t step) const noexcept {
        return First(step) + std::min(m_steps.step, m_steps.items - First(step));
    }
    // Two windows that follow one another never share a slot.
    std::size_t Slot(std::uint64_t step) const noexcept { return static_cast<std::size_t>(step % m_slots); }

    void ComputeStep(std::uint64_t step) const { m_compute(First(step), Last(step), Slot(step)); }
    bool CommitSteps(std::uint64_t begin, std::uint64_t end) const {
        for (std::uint64_t step = begin; step < end; ++step)
            if (!m_commit(First(step), Last(step), Slot(step)))
                return false;
        return true;
    }

    WorkSteps const& m_steps;
    std::uint64_t m_count;
    std::uint64_t m_slots;
    Compute const& m_compute;
    Commit const& m_commit;
};

} // namespace

bool ComputeSteps(WorkSteps const& steps, Compute const& compute, Commit const& commit) {
    Run const run(steps, compute, commit);
    if (!steps.parallel || steps.NumberOfSteps() <= 1)
        return run.Sequentially();
    return Apart([&run](tbb::task_group_context& context) { return run.InParallel(context); });
}

void ComputeSteps(WorkSteps const& steps, std::function<void(std::uint64_t, std::uint64_t)> const& compute) {
    WorkSteps all = steps;
    all.window = std::max<std::uint64_t>(steps.NumberOfSteps(), 1);
    ComputeSteps(
        all, [&compute](std::uint64_t first, std::uint64_t last, std::size_t) { compute(first, last); },
        [](std::uint64_t, std::uint64_t, std::size_t) { return true; });
}

std::size_t NumberOfThreads() noexcept {
    return static_cast<std::size_t>(std::max(1, tbb::this_task_arena::max_concurrency()));
}

void RunApart(std::function<void()> const& work) {
    Apart([&work](tbb::task_group_context& context) { tbb::task_group(context).run_and_wait(work); });
}

} // namespace KetSDK::Support
