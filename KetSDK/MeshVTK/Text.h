// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <string>
#include <string_view>

namespace KetSDK::MeshVTK {

// Names are wide strings in meshes and surfaces and UTF-8 in VTK. What is no character in one of them
// becomes U+FFFD in the other.
KETSDK_MESHVTK_API std::string ToUtf8(std::wstring_view text);
KETSDK_MESHVTK_API std::wstring FromUtf8(std::string_view text);

// The text in one line of UTF-8 that can be shown on a terminal, whatever file or user it comes from. Control
// characters, those that turn the direction of writing and bytes that are no UTF-8 become \xNN or \uNNNN.
KETSDK_MESHVTK_API std::string Printable(std::string_view text);

} // namespace KetSDK::MeshVTK
