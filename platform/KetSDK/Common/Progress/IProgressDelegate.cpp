// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Common/Progress/IProgressDelegate.h>

namespace KetSDK::Common {

// Defined here so that the type information of the interface lives in one library.
IProgressDelegate::~IProgressDelegate() = default;

} // namespace KetSDK::Common
