// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Support/ParallelWork.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <atomic>
#include <exception>
#include <limits>
#include <numeric>
#include <thread>

namespace KetSDK::Support {

namespace {

using ComputeStep = std::function<void(std::uint64_t, std::uint64_t, std::size_t)>;
using CommitStep = std::function<bool(std::uint64_t, std::uint64_t, std::size_t)>;

// The items of a step: the first one, and the one behind the last.
std::uint64_t FirstOf(WorkSteps const& steps, std::uint64_t step) noexcept {
    return step * steps.step;
}
std::uint64_t EndOf(WorkSteps const& steps, std::uint64_t step) noexcept {
    std::uint64_t const first = FirstOf(steps, step);
    return first + std::min(steps.step, steps.items - first);
}

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

// Computes and commits steps by their numbers.
class NumberedSteps {
public:
    NumberedSteps(WorkSteps const& steps, ComputeStep const& compute, CommitStep const& commit)
        : m_steps(steps)
        , m_count(steps.NumberOfSteps())
        , m_slots(std::max<std::uint64_t>(steps.NumberOfSlots(), 1))
        , m_stride(StrideOver(m_slots))
        , m_compute(compute)
        , m_commit(commit) {}

    std::uint64_t Count() const noexcept { return m_count; }
    std::uint64_t Slots() const noexcept { return m_slots; }

    void Compute(std::uint64_t step) const {
        m_compute(FirstOf(m_steps, step), EndOf(m_steps, step), Slot(step));
    }
    bool Commit(std::uint64_t begin, std::uint64_t end) const {
        for (std::uint64_t step = begin; step < end; ++step)
            if (!m_commit(FirstOf(m_steps, step), EndOf(m_steps, step), Slot(step)))
                return false;
        return true;
    }

private:
    // Threads at work on neighbours would take lines of the cache from one another. The golden ratio keeps
    // any few steps that follow one another as far apart as can be.
    static std::uint64_t StrideOver(std::uint64_t slots) noexcept {
        auto stride = static_cast<std::uint64_t>(0.618 * static_cast<double>(slots));
        while (stride > 1 && std::gcd(stride, slots) > 1)
            --stride;
        return std::max<std::uint64_t>(stride, 1);
    }
    std::size_t Slot(std::uint64_t step) const noexcept {
        return static_cast<std::size_t>(step % m_slots * m_stride % m_slots);
    }

    WorkSteps const& m_steps;
    std::uint64_t m_count;
    std::uint64_t m_slots;
    std::uint64_t m_stride;
    ComputeStep const& m_compute;
    CommitStep const& m_commit;
};

bool RunSequentially(NumberedSteps const& steps) {
    for (std::uint64_t step = 0; step < steps.Count(); ++step) {
        steps.Compute(step);
        if (!steps.Commit(step, step + 1))
            return false;
    }
    return true;
}

// A run in which the calling thread commits what is ready, and computes when nothing is. The others compute
// as long as there are slots, and then leave: the work of a commit may need them. Nobody waits but the
// calling thread, and that for a step only which another one is computing.
class ParallelRun {
public:
    ParallelRun(NumberedSteps const& steps, std::uint64_t grain, tbb::task_group_context& context)
        : m_steps(steps)
        , m_grain(std::clamp<std::uint64_t>(grain, 1, std::max<std::uint64_t>(steps.Slots() / 2, 1)))
        , m_grains((steps.Count() - 1) / m_grain + 1)
        , m_slots_in_grains(steps.Slots() / m_grain)
        , m_ready(static_cast<std::size_t>(m_slots_in_grains))
        , m_context(context) {}

    bool Go() {
        Group group(m_context);
        bool going_on = true;
        for (std::uint64_t next = 0; going_on && next < m_grains;) {
            std::uint64_t grain = 0;
            if (IsReady(next)) {
                going_on = CommitGrain(next);
                m_committed.number.store(++next, std::memory_order_release);
                // Not for each slot that is free again: to begin takes a thread longer than a step.
                if (going_on && Unclaimed() >= (m_slots_in_grains + 1) / 2)
                    CallOthers(group);
            } else if (CallOthers(group); Claim(grain)) {
                ComputeGrain(grain);
            } else {
                WaitFor(next);
            }
        }
        if (!going_on)
            group.Cancel();
        group.Wait();
        return going_on;
    }

private:
    std::uint64_t Begin(std::uint64_t grain) const noexcept { return grain * m_grain; }
    std::uint64_t End(std::uint64_t grain) const noexcept {
        return std::min(Begin(grain) + m_grain, m_steps.Count());
    }

    // Grains for which there are slots and which nobody has begun.
    std::uint64_t Unclaimed() const noexcept {
        std::uint64_t const committed = m_committed.number.load(std::memory_order_relaxed);
        std::uint64_t const end = committed + std::min(m_grains - committed, m_slots_in_grains);
        return end - std::min(end, m_next.number.load(std::memory_order_relaxed));
    }
    bool Claim(std::uint64_t& grain) noexcept {
        if (m_failed.load(std::memory_order_relaxed) != NoStep)
            return false;
        // Looked at first, as it never passes the other.
        std::uint64_t const committed = m_committed.number.load(std::memory_order_acquire);
        grain = m_next.number.load(std::memory_order_relaxed);
        do {
            if (grain >= m_grains || grain - committed >= m_slots_in_grains)
                return false;
        } while (!m_next.number.compare_exchange_weak(grain, grain + 1, std::memory_order_relaxed));
        return true;
    }
    void ComputeGrain(std::uint64_t grain) noexcept {
        std::uint64_t step = Begin(grain);
        try {
            for (; step < End(grain); ++step)
                m_steps.Compute(step);
        } catch (...) {
            std::lock_guard const lock(m_failure_mutex);
            if (step < m_failed) {
                m_failure = std::current_exception();
                m_failed = step;
            }
        }
        Tell(grain);
    }
    // Commits a grain that is ready, or what there is of it before a step that failed.
    bool CommitGrain(std::uint64_t grain) {
        std::uint64_t const end = std::min(End(grain), m_failed.load());
        if (!m_steps.Commit(Begin(grain), end))
            return false;
        if (end < End(grain)) // nobody replaces the failure: grains before this one had none
            std::rethrow_exception(m_failure);
        return true;
    }

    // A number that threads share, in a line of the cache of its own.
    struct alignas(64) Shared {
        std::atomic<std::uint64_t> number = 0;
    };

    // The last grain that was computed into the same slots, counted from 1.
    std::atomic<std::uint64_t>& Ready(std::uint64_t grain) noexcept {
        return m_ready[static_cast<std::size_t>(grain % m_slots_in_grains)].number;
    }
    bool IsReady(std::uint64_t grain) noexcept {
        return Ready(grain).load(std::memory_order_acquire) == grain + 1;
    }
    void Tell(std::uint64_t grain) noexcept {
        Ready(grain).store(grain + 1);
        Ready(grain).notify_one();
    }
    // Mostly for less time than it takes to be woken up, which these looks take as well.
    void WaitFor(std::uint64_t grain) noexcept {
        for (int look = 0; look < 256; ++look) {
            if (IsReady(grain))
                return;
            std::this_thread::yield();
        }
        std::uint64_t const sofar = Ready(grain).load(std::memory_order_acquire);
        if (sofar != grain + 1)
            Ready(grain).wait(sofar, std::memory_order_acquire);
    }

    // Lets as many threads take part as there are grains for.
    void CallOthers(Group& group) {
        std::uint64_t const unclaimed = Unclaimed();
        std::uint64_t const most = std::min<std::uint64_t>(unclaimed, NumberOfThreads() - 1);
        while (m_others.number.load(std::memory_order_relaxed) < most) {
            m_others.number.fetch_add(1, std::memory_order_relaxed);
            group.Run([this] { Help(); });
        }
    }
    void Help() {
        std::uint64_t grain = 0;
        while (!m_context.is_group_execution_cancelled() && Claim(grain))
            ComputeGrain(grain);
        m_others.number.fetch_sub(1, std::memory_order_relaxed);
    }

    static constexpr std::uint64_t NoStep = std::numeric_limits<std::uint64_t>::max();

    NumberedSteps const& m_steps;
    std::uint64_t m_grain; // in steps
    std::uint64_t m_grains;
    std::uint64_t m_slots_in_grains;
    std::vector<Shared> m_ready;
    tbb::task_group_context& m_context;
    Shared m_next;      // the first grain that nobody has begun
    Shared m_committed; // grains
    Shared m_others;    // threads that take part, or are called to
    std::mutex m_failure_mutex;
    std::exception_ptr m_failure;
    std::atomic<std::uint64_t> m_failed = NoStep; // the first step that failed
};

} // namespace

bool ComputeSteps(WorkSteps const& steps, ComputeStep const& compute, CommitStep const& commit) {
    NumberedSteps const numbered(steps, compute, commit);
    if (!steps.parallel || numbered.Count() <= 1)
        return RunSequentially(numbered);
    return Apart(
        [&](tbb::task_group_context& context) { return ParallelRun(numbered, steps.grain, context).Go(); });
}

void ComputeSteps(WorkSteps const& steps, std::function<void(std::uint64_t, std::uint64_t)> const& compute) {
    auto const compute_steps = [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t step = begin; step < end; ++step)
            compute(FirstOf(steps, step), EndOf(steps, step));
    };
    std::uint64_t const count = steps.NumberOfSteps();
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

WorkSteps OneStepPerThread(std::uint64_t items, std::uint64_t fewest, std::uint64_t most,
                           bool parallel) noexcept {
    std::uint64_t const threads = parallel ? std::min<std::uint64_t>(NumberOfThreads(), most) : 1;
    std::uint64_t const count = std::clamp<std::uint64_t>(items / fewest, 1, threads);
    return {.items = items,
            .step = std::max<std::uint64_t>(items / count + (items % count != 0), 1),
            .parallel = parallel};
}

void RunApart(std::function<void()> const& work) {
    Apart([&work](tbb::task_group_context& context) { tbb::task_group(context).run_and_wait(work); });
}

} // namespace KetSDK::Support
