// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/persistence/MMeshFile.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/OutputFile.h>

#include <optional>
#include <string>

namespace KetSDK::MeshJobs {

// Models in files: .kmesh, which keeps all that a mesh knows, .vtu and .vtk, and decks of solvers (.inp),
// which Export writes.

struct ReadOptions {
    MeshVTK::LengthUnit unit; // of the file; .kmesh files are in mm by themselves
    // Cell array of integers whose values become the sub-volumes. Without it: those that a .kmesh file has,
    // the arrays subvolume and subvolume_names, or else the array label; the element sets of a deck.
    std::string labels;
    MeshVTK::RoundingLimits limits;
    // The frame of coordinates; without it the one that the file says, if any. Where both differ this one is
    // taken, with a warning.
    std::optional<Mesh::CoordinateFrame> frame = std::nullopt;
};

// Reads a model. Throws FileError for a file that cannot be used, Cancelled.
KETSDK_MESHJOBS_API Model ReadModel(std::string const& path, ReadOptions const& options,
                                    Context const& context);

struct WriteOptions {
    MeshVTK::LengthUnit unit;                         // of a .vtu or .vtk file
    MMeshFile::Encoding encoding = MMeshFile::Binary; // of a .kmesh file
};

// Opens the file that a model is to be written to: before the work, which would be for nothing when the file
// cannot be written. Nothing has its name until WriteModel is through. Throws FileError for another ending,
// for a place that cannot be written to, and for a text encoding of a file that has none.
KETSDK_MESHJOBS_API MeshVTK::OutputFile OpenModelFile(std::string const& path, WriteOptions const& options);
// Writes a model with its arrays; the file appears under its name when it is whole. Throws FileError,
// Cancelled.
KETSDK_MESHJOBS_API void WriteModel(Model const& model, MeshVTK::OutputFile& file,
                                    WriteOptions const& options, Context const& context);
// Both in one.
KETSDK_MESHJOBS_API void WriteModel(Model const& model, std::string const& path, WriteOptions const& options,
                                    Context const& context);

// Whether the name is that of a .kmesh file.
KETSDK_MESHJOBS_API bool IsMeshFileName(std::string const& path);

} // namespace KetSDK::MeshJobs
