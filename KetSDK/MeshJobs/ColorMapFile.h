// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Colors.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshVTK/OutputFile.h>

#include <string>

namespace KetSDK::MeshJobs {

// Colours of intervals as a lookup table that viewers of VTK files import: .json or .xml. It has two points
// for each interval, at its start and just before the next one, so that all of an interval has one colour.

// Opens the file that a table is to be written to: before the work, which would be for nothing when the file
// cannot be written. Throws FileError for another ending and for a place that cannot be written to.
KETSDK_MESHJOBS_API MeshVTK::OutputFile OpenColorMapFile(std::string const& path);
// Writes the table under a name, in UTF-8, that viewers show; the file appears when it is whole. Throws
// FileError.
KETSDK_MESHJOBS_API void WriteColorMap(ColorsResult const& colors, std::string const& name,
                                       MeshVTK::OutputFile& file, Context const& context = {});
// Both in one.
KETSDK_MESHJOBS_API void WriteColorMap(ColorsResult const& colors, std::string const& name,
                                       std::string const& path);

} // namespace KetSDK::MeshJobs
