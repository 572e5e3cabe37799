// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Common/Shared/MExport.h>

#include <memory>
#include <string>

namespace KetSDK::Common {

// One phase of a job, from construction to destruction, reported to a delegate that it shares.
// Without a delegate it reports nothing and is never cancelled. Lives on the stack of the thread
// that runs the job and is used by that thread only.
class KETSDK_API BaseProgressReporter {
public:
    BaseProgressReporter(BaseProgressReporter const&) = delete;
    BaseProgressReporter& operator=(BaseProgressReporter const&) = delete;

    // Ends the phase. An exception that the delegate throws here is swallowed.
    virtual ~BaseProgressReporter();

    // True once the user behind the delegate has asked to cancel and the phase can be cancelled.
    bool IsCancelled() const;

    // A delegate that covers the given fraction of this phase, for a sub-step that reports into it as if it
    // were a full one. It starts where the phase stands or, when that is further on, where the nested
    // delegate created before it stops. All of them together cover the phase once, and what would go beyond
    // its end is cut off. Its phases do not begin or end this one, and their labels are not shown. It passes
    // cancellation up. Never null; shared with the caller, and without effect once this reporter is gone.
    std::shared_ptr<IProgressDelegate> CreateNestedDelegate(double fraction);

protected:
    // Begins the phase. A phase that is not cancellable, and all that is nested in it, runs to its
    // end whatever the user asks for: for work that must not stop half-way.
    BaseProgressReporter(std::shared_ptr<IProgressDelegate> const& delegate, std::string const& label,
                         bool determinate, bool cancellable);

    // True when somebody listens.
    bool HasDelegate() const noexcept;
    // Moves the phase to a fraction, 0 to 1; a fraction already passed is ignored.
    void AdvanceTo(double fraction);

private:
    struct Phase;
    class NestedDelegate;

    std::shared_ptr<Phase> m_phase;
};

} // namespace KetSDK::Common
