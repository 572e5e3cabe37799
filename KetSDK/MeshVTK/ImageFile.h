// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <vtkSmartPointer.h>

#include <filesystem>
#include <memory>
#include <string>

class vtkImageData;

namespace KetSDK::MeshVTK {

// What a reader took for granted or left out, as one line; empty when there is nothing to say.
struct ImageFileReport {
    std::string note;
};

struct ImageFileOptions {
    std::string series; // identifier of the series to take from a folder of DICOM slices with several
};

// Reads an image of one value per voxel from a file or folder:
// - NIfTI (.nii, .nii.gz), in RAS: placed by the sform when it has a code, else by the qform, else by the
// voxel
//   sizes alone (noted). Metres and micrometres in the header are converted to millimetres.
// - MetaImage (.mha, or .mhd with one data file, packed or not; no integers of 64 bits), in LPS: Offset,
//   ElementSpacing, TransformMatrix.
// - A folder of uncompressed DICOM slices of one series, in LPS, sorted along their normal, the distance
// between
//   them taken from their positions. The world is that of the patient positions.
// - VTK XML (.vti), in LPS unless it says another frame: the active scalars, or the only array, of the
//   points.
// Jitter of DICOM slices below a hundredth of a spacing is noted. So is how far slices lie beside a straight
// line, up to a tenth of a voxel, when rounding of their positions does not explain it. The image says its
// frame of coordinates (Frames.h). The image has origin, spacing and direction matrix as the file states
// them: voxel (i, j, k) is the file's own and no axis is flipped. A slope and intercept in the header are
// applied: the values stay integers where both are. Throws Error for what is missing, empty, cut off, damaged
// or of another kind, and for axes that are not perpendicular. Throws it also for more than one value per
// voxel and for slices that make no regular stack. Throws Cancelled. Memory grows with what is in the file,
// never with what its header claims. The delegate and the report may be null.
KETSDK_MESHVTK_API vtkSmartPointer<vtkImageData>
ReadImageFile(std::filesystem::path const& path, std::shared_ptr<Common::IProgressDelegate> const& progress,
              ImageFileReport* report = nullptr);
KETSDK_MESHVTK_API vtkSmartPointer<vtkImageData>
ReadImageFile(std::filesystem::path const& path, ImageFileOptions const& options,
              std::shared_ptr<Common::IProgressDelegate> const& progress, ImageFileReport* report = nullptr);

} // namespace KetSDK::MeshVTK
