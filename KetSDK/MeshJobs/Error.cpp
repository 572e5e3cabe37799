// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Error.h>

#include <KetSDK/MeshVTK/Text.h>

namespace KetSDK::MeshJobs {

Error::Error(std::string const& message)
    : std::runtime_error(MeshVTK::Printable(message)) {}
Error::~Error() = default;

FileError::FileError(std::string const& file, std::string const& message)
    : Error(file.empty() ? message : file + ": " + message)
    , m_file(file) {}
FileError::~FileError() = default;

Cancelled::Cancelled()
    : Error("cancelled") {}
Cancelled::~Cancelled() = default;

} // namespace KetSDK::MeshJobs
