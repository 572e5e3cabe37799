// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Common/Progress/BranchingProgressReporter.h>

namespace KetSDK::Common {

BranchingProgressReporter::BranchingProgressReporter(std::shared_ptr<IProgressDelegate> const& delegate,
                                                     std::string const& label, bool cancellable)
    : BaseProgressReporter(delegate, label, true, cancellable) {}

BranchingProgressReporter::~BranchingProgressReporter() = default;

} // namespace KetSDK::Common
