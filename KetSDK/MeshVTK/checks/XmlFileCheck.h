// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/detail/FileBytes.h>

#include <cstdint>
#include <string>

class vtkDataSet;

namespace KetSDK::MeshVTK::Detail {

// How much all pieces of a file hold.
struct XmlCounts {
    std::uint64_t points = 0;
    std::uint64_t cells = 0;
};

// Looks through a .vtu, .vtp or .vti file. Throws Error unless it holds a data set of the type that is needed
// ("UnstructuredGrid", "PolyData", "ImageData"), an image in one piece, and is not cut off. Going by the
// headers of its data, every array holds as many values as there are points or cells, and all of that data is
// in the file. VTK's reader trusts these headers, so that wrong ones make it read beyond its buffers, and
// takes the values that it needs from arrays that are too long. What the values are is not looked at. Runs
// within a VtkSession, which gets the complaints about the XML itself. Returns what the file announces.
XmlCounts CheckXmlFile(FileBytes const& file, std::string const& needed);

// Throws Error unless VTK's reader gave all that the file announces: it goes on where there is no memory
// left.
void CheckCounts(vtkDataSet& data, XmlCounts const& counts);

} // namespace KetSDK::MeshVTK::Detail
