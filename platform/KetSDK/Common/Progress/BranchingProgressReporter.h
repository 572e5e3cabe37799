// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/BaseProgressReporter.h>

namespace KetSDK::Common {

// A phase that is divided among sub-phases: it advances through its nested delegates only. Used by
// the thread that runs the job only.
class KETSDK_API BranchingProgressReporter : public BaseProgressReporter {
public:
    // Begins the phase. When not cancellable, neither it nor what is nested in it is ever cancelled.
    BranchingProgressReporter(std::shared_ptr<IProgressDelegate> const& delegate, std::string const& label,
                              bool cancellable);
    ~BranchingProgressReporter() override;
};

} // namespace KetSDK::Common
