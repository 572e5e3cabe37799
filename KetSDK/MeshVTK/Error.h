// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <stdexcept>
#include <string>

namespace KetSDK::MeshVTK {

// Thrown by the bridge for input that it cannot use and for files that it cannot read or write. The
// message is one line in UTF-8 that says what is wrong and, where that helps, what would be right; what of it
// comes from a file is made printable. It does not name the file. Whatever was being made is gone; inputs are
// as they were.
class KETSDK_MESHVTK_API Error : public std::runtime_error {
public:
    explicit Error(std::string const& message);
    ~Error() override;
};

// Thrown when the user asked to cancel through the progress delegate. Not an Error: nothing is wrong.
class KETSDK_MESHVTK_API Cancelled : public std::runtime_error {
public:
    Cancelled();
    ~Cancelled() override;
};

} // namespace KetSDK::MeshVTK
