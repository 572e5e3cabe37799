// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Common/Progress/IndeterminateProgressReporter.h>

namespace KetSDK::Common {

IndeterminateProgressReporter::IndeterminateProgressReporter(
    std::shared_ptr<IProgressDelegate> const& delegate, std::string const& label, bool cancellable)
    : BaseProgressReporter(delegate, label, false, cancellable) {}

IndeterminateProgressReporter::~IndeterminateProgressReporter() = default;

} // namespace KetSDK::Common
