// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/Error.h>

#include <KetSDK/MeshVTK/Text.h>

namespace KetSDK::MeshVTK {

Error::Error(std::string const& message)
    : std::runtime_error(Printable(message)) {}

Error::~Error() = default;

Cancelled::Cancelled()
    : std::runtime_error("cancelled") {}

Cancelled::~Cancelled() = default;

} // namespace KetSDK::MeshVTK
