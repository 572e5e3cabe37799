// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/BaseProgressReporter.h>

namespace KetSDK::Common {

// A phase without a known length, shown as a busy indication. Its nested delegates pass on
// cancellation and nothing else. Used by the thread that runs the job only.
class KETSDK_API IndeterminateProgressReporter : public BaseProgressReporter {
public:
    // Begins the phase. When not cancellable, IsCancelled() is false throughout.
    IndeterminateProgressReporter(std::shared_ptr<IProgressDelegate> const& delegate,
                                  std::string const& label, bool cancellable);
    ~IndeterminateProgressReporter() override;
};

} // namespace KetSDK::Common
