// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Support/SupportExport.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

// The one place where work is spread over threads. Whoever uses it gets the same for every number of threads,
// bit for bit, and cannot tell parallel work from sequential work but by the clock:
// - Items are cut into steps that depend on nothing but their number. Threads compute steps into slots of
//   their own; the calling thread commits them, one after another in order. It alone changes what others see,
//   reports progress and looks at cancellation.
// - The work is kept apart from parallel work that the caller may be part of. A cancellation out there leaves
//   no item out here. While the calling thread waits it takes up nothing else, which could use the same
//   objects or want a lock that the caller holds.
// - An exception in a step stops the others. It reaches the caller when all steps before have been committed.
//   Where nothing is committed it may be that of any step.
// Threads are those of the caller's oneTBB task arena.
namespace KetSDK::Support {

// How items 0 to items - 1 are cut. All numbers but that of the items are above 0.
struct WorkSteps {
    std::uint64_t items = 0;
    std::uint64_t step = 1; // items of a step; the last step may have fewer
    // Without it everything happens on the calling thread, each step being committed before the next is
    // computed.
    bool parallel = false;
    // Steps that a thread takes at a time. Handing them out costs about a microsecond.
    std::uint64_t grain = 1;
    // Half of the steps that there are slots for. These are enough to keep the threads busy, and few enough
    // to stay in the processor's cache. No more steps than slots are computed in vain when the work ends
    // early.
    std::uint64_t window = 64;

    std::uint64_t NumberOfSteps() const noexcept { return items / step + (items % step != 0); }
    // Slots that are in use at the same time.
    std::uint64_t NumberOfSlots() const noexcept {
        return std::min(parallel ? 2 * window : 1, NumberOfSteps());
    }
};

// Computes all steps and commits each. The function compute(first, last, slot) computes items first to last -
// 1 into a slot below NumberOfSlots(), on any thread. Steps that follow one another have slots far apart. The
// function commit(first, last, slot) runs on the calling thread. When commit returns false no further step is
// committed, and the result is false.
KETSDK_SUPPORT_API bool
ComputeSteps(WorkSteps const& steps,
             std::function<void(std::uint64_t, std::uint64_t, std::size_t)> const& compute,
             std::function<bool(std::uint64_t, std::uint64_t, std::size_t)> const& commit);

// The same with a slot of type Slot for each step. The function compute(first, last, Slot&) fills it,
// whatever an earlier step left in it, and commit(first, last, Slot const&) reads it.
template <typename Slot, typename Compute, typename Commit>
bool ComputeSteps(WorkSteps const& steps, Compute const& compute, Commit const& commit) {
    // In lines of the cache of its own, as different threads fill neighbours.
    struct alignas(64) Apart {
        Slot slot{};
    };
    std::vector<Apart> slots(static_cast<std::size_t>(steps.NumberOfSlots()));
    return ComputeSteps(
        steps,
        [&](std::uint64_t first, std::uint64_t last, std::size_t i) { compute(first, last, slots[i].slot); },
        [&](std::uint64_t first, std::uint64_t last, std::size_t i) {
            return commit(first, last, std::as_const(slots[i].slot));
        });
}

// Computes all steps, for work that has nothing to commit and is not cancelled: compute(first, last) writes
// where no other step does.
KETSDK_SUPPORT_API void ComputeSteps(WorkSteps const& steps,
                                     std::function<void(std::uint64_t, std::uint64_t)> const& compute);

// The same for what must not be left half done. Where there is no memory for the work of threads, the calling
// thread does it all. So the function throws nothing, and may compute an item once more.
template <typename Compute>
void ComputeStepsSafely(WorkSteps const& steps, Compute const& compute) noexcept {
    try {
        ComputeSteps(steps, std::function<void(std::uint64_t, std::uint64_t)>(std::ref(compute)));
    } catch (...) { // thrown by what spreads the work
        compute(0, steps.items);
    }
}

// Objects that steps of work use one after another, such as tables whose memory is used again: as many as
// there are steps at the same time. A step finds in one whatever an earlier step has left.
template <typename T>
class Pool {
public:
    // Calls use(object) with an object that nobody else uses meanwhile.
    template <typename Use>
    void With(Use const& use) {
        std::unique_ptr<T> object = Take();
        use(*object);
        std::lock_guard const lock(m_mutex);
        m_free.push_back(std::move(object));
    }

private:
    std::unique_ptr<T> Take() {
        {
            std::lock_guard const lock(m_mutex);
            if (!m_free.empty()) {
                std::unique_ptr<T> object = std::move(m_free.back());
                m_free.pop_back();
                return object;
            }
        }
        return std::make_unique<T>();
    }

    std::mutex m_mutex;
    std::vector<std::unique_ptr<T>> m_free;
};

// How many threads the caller's task arena has. What comes of the work must not depend on that number.
KETSDK_SUPPORT_API std::size_t NumberOfThreads() noexcept;

// One step for each thread, `most` at most, for work in which each step has large tables of its own: a single
// one unless parallel. Steps with fewer items than `fewest` do not pay; there are fewer steps then. What
// comes of the work must not depend on how many there are.
KETSDK_SUPPORT_API WorkSteps OneStepPerThread(std::uint64_t items, std::uint64_t fewest, std::uint64_t most,
                                              bool parallel) noexcept;

// Calls work() on the calling thread, with the oneTBB algorithms in it kept apart as above.
KETSDK_SUPPORT_API void RunApart(std::function<void()> const& work);

} // namespace KetSDK::Support
