#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <string>
#include <string_view>

namespace KetSDK::MeshVTK {

// Names are wide strings in meshes and surfaces and UTF-8 in VTK. What is no character in one of them
// becomes U+FFFD in the other.
KETSDK_MESHVTK_API std::string ToUtf8(std::wstring_view text);
KETSDK_MESHVTK_API std::wstring FromUtf8(std::string_view text);

} // namespace KetSDK::MeshVTK
