// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>

#include <string>

namespace KetSDK::Common {

// Whoever shows the progress of a job and lets the user cancel it. Implemented by the host; the
// reporters call it, and only on the thread that runs the job.
class KETSDK_API IProgressDelegate {
public:
    virtual ~IProgressDelegate();

    // A phase starts. A phase that is not determinate has no known length: no Advance follows.
    virtual void Begin(std::string const& label, bool determinate) = 0;
    // The part of the phase that is done, 0 to 1; never less than the call before.
    virtual void Advance(double fraction) = 0;
    // The phase is over: done, given up or cancelled.
    virtual void End() = 0;
    // True once the user has asked to cancel.
    virtual bool IsCancelled() const = 0;

protected:
    IProgressDelegate() = default;
    IProgressDelegate(IProgressDelegate const&) = default;
    IProgressDelegate& operator=(IProgressDelegate const&) = default;
};

} // namespace KetSDK::Common
