#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/MeshJobsExport.h>
#include <KetSDK/MeshVTK/LengthUnit.h>

#include <memory>
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
};

// Reads a .nii, .nii.gz, .mha, .mhd or .vti file or a folder of DICOM slices. Throws FileError for what
// cannot be used, Cancelled.
KETSDK_MESHJOBS_API Image ReadImage(std::string const& path, MeshVTK::LengthUnit unit,
                                    Context const& context);

} // namespace KetSDK::MeshJobs
