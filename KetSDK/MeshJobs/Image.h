// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/CoordinateFrame.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/MeshJobsExport.h>
#include <KetSDK/MeshVTK/ImageFromArray.h>
#include <KetSDK/MeshVTK/LengthUnit.h>

#include <memory>
#include <optional>
#include <string>

namespace KetSDK::MeshJobs {

// A CT image: a grey value for each voxel, and where the voxels lie. Copies share the voxels, which nothing
// changes.
struct KETSDK_MESHJOBS_API Image {
    struct Voxels; // how they are held is this library's own affair

    std::string file;                     // that it was read from, as the caller named it
    std::string note;                     // what the reader took for granted or left out; empty for nothing
    MeshVTK::LengthUnit unit;             // of where the voxels lie
    std::shared_ptr<Voxels const> voxels; // never null in an image that a job is given
    // Where x and y point in the body; an image from a file always says it.
    std::optional<Mesh::CoordinateFrame> frame;
};

// Reads a .nii, .nii.gz, .mha, .mhd or .vti file or a folder of DICOM slices; of one with
// several series that of the identifier. Throws FileError for what
// cannot be used, Cancelled.
KETSDK_MESHJOBS_API Image ReadImage(std::string const& path, MeshVTK::LengthUnit unit, Context const& context,
                                    std::string const& series = {});

// Makes an image of voxels where a caller has them, which are copied. Throws Error for what makes no image.
KETSDK_MESHJOBS_API Image MakeImage(MeshVTK::VoxelArray const& voxels, MeshVTK::LengthUnit unit,
                                    std::optional<Mesh::CoordinateFrame> frame);

} // namespace KetSDK::MeshJobs
