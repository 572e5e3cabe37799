// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/ImageFile.h>

#include <string>

namespace KetSDK::MeshVTK::Detail {

// Reads a folder of DICOM slices as one image. See ReadImageFile. Files with an ending other than .dcm,
// .ima, .dic or digits are left alone, as are hidden ones and the directory file DICOMDIR. Slices of other
// series than that of the identifier `series` are left out; when it is empty, there must be one series.
vtkSmartPointer<vtkImageData> ReadDicomFolder(std::filesystem::path const& path,
                                              std::shared_ptr<Common::IProgressDelegate> const& progress,
                                              ImageFileReport& report, std::string const& series);

} // namespace KetSDK::MeshVTK::Detail
