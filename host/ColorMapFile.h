#pragma once

#include <KetSDK/Mesh/materials/MMeshColorMap.h>
#include <KetSDK/MeshVTK/OutputFile.h>

#include <string>

namespace ketmesh {

// Colours of intervals as a lookup table that viewers of VTK files import. It has two points for each
// interval, at its start and just before the next one, so that all of an interval has one colour.

// "#rrggbb" of 0x00RRGGBB.
std::string ColorText(unsigned int color);

// Throws KetSDK::MeshVTK::Error for a name that ends with neither .json nor .xml.
void CheckColorMapFileName(std::string const& file);

// Writes the table in the format of the file's ending and commits the file. The last interval ends at
// `end`. Throws KetSDK::MeshVTK::Error.
void WriteColorMap(KetSDK::MeshVTK::OutputFile& file, MMeshColorMap const& colors, double end,
                   std::string const& name);

} // namespace ketmesh
