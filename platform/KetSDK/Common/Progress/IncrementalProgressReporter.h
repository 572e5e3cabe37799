// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/BaseProgressReporter.h>

#include <cstdint>

namespace KetSDK::Common {

// A phase of a known number of steps. Advancing costs a comparison: it may be called for every
// element, and the delegate hears of it about a thousand times. Used by the thread that runs the
// job only.
class KETSDK_API IncrementalProgressReporter : public BaseProgressReporter {
public:
    // Begins the phase at step 0. A phase of 0 steps goes from begin to end with its first step, or
    // when the reporter dies. When not cancellable, IsCancelled() is false throughout.
    IncrementalProgressReporter(std::shared_ptr<IProgressDelegate> const& delegate, std::string const& label,
                                unsigned long long max_value, bool cancellable);
    ~IncrementalProgressReporter() override;

    // Advances by one step; stops at the last one.
    IncrementalProgressReporter& operator++() {
        if (m_position < m_max_value) {
            ++m_position;
        }
        if (m_position >= m_next_report) {
            Report();
        }
        return *this;
    }

    // Sets the position to a step, at most the last one. Going back is allowed, but not reported.
    IncrementalProgressReporter& operator=(unsigned long long position);

    // The number of steps given at construction.
    unsigned long long GetMaxValue() const noexcept { return m_max_value; }

private:
    void Report();

    std::uint64_t m_position = 0;
    std::uint64_t m_max_value;
    std::uint64_t m_next_report; // the position at which the delegate hears the next time
};

} // namespace KetSDK::Common
