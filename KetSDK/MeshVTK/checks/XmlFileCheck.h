#pragma once

#include <filesystem>
#include <string>

namespace KetSDK::MeshVTK::Detail {

// Looks through a .vtu, .vtp or .vti file and throws Error unless it holds a data set of the type that is
// needed ("UnstructuredGrid", "PolyData", "ImageData"), an image in one piece, is not cut off, every array
// holds as many values as there are points or cells, going by the headers of its data, and all of that data
// is in the file. VTK's reader trusts these headers, so that wrong ones make it read beyond its buffers, and
// takes the values that it needs from arrays that are too long. What the values are is not looked at. Runs
// within a VtkSession, which gets the complaints about the XML itself.
void CheckXmlFile(std::filesystem::path const& path, std::string const& needed);

} // namespace KetSDK::MeshVTK::Detail
