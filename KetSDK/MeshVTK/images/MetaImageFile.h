// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/ImageFile.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>

namespace KetSDK::MeshVTK::Detail {

// Reads a MetaImage: a header in text, with the voxels behind it or in one file beside it. See ReadImageFile.
vtkSmartPointer<vtkImageData> ReadMetaImageFile(std::filesystem::path const& path, OpenFile const& file,
                                                std::shared_ptr<Common::IProgressDelegate> const& progress,
                                                ImageFileReport& report);

} // namespace KetSDK::MeshVTK::Detail
