// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/detail/FileBytes.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace KetSDK::MeshVTK::Detail {

// Looks at the tags of an XML file of VTK's, up to the appended data, before a parser does. Parsers follow
// declarations that make much of little, go as deep as a file does, and take time that grows with the square
// of a tag's length. Throws Error for what no such file has. Those are declarations, elements that are nested
// too deeply or too many, tags and comments that are too long, bytes of 0 and tags without an end. Returns
// the data type that the file declares ("UnstructuredGrid"); nothing for a file that is not VTK's, which is
// not looked at further. All bytes up to the appended data have been asked for then.
std::string CheckMarkup(FileBytes const& file);

// Where the tag ends that a place lies in, behind its ">"; one between quotes does not end it. npos for a tag
// without an end.
std::size_t EndOfTag(std::string_view text, std::size_t at);

} // namespace KetSDK::MeshVTK::Detail
