// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/ImageFile.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>

namespace KetSDK::MeshVTK::Detail {

// Reads a NIfTI file (version 1 or 2, header and voxels in one file, packed with gzip or not). See
// ReadImageFile.
vtkSmartPointer<vtkImageData> ReadNiftiFile(std::filesystem::path const& path, OpenFile const& file,
                                            std::shared_ptr<Common::IProgressDelegate> const& progress,
                                            ImageFileReport& report);

} // namespace KetSDK::MeshVTK::Detail
