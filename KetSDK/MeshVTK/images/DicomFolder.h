#pragma once

#include <KetSDK/MeshVTK/ImageFile.h>

namespace KetSDK::MeshVTK::Detail {

// Reads a folder of DICOM slices as one image. See ReadImageFile. Files with an ending other than .dcm,
// .ima, .dic or digits are left alone, as are hidden ones and the directory file DICOMDIR.
vtkSmartPointer<vtkImageData> ReadDicomFolder(std::filesystem::path const& path,
                                              std::shared_ptr<Common::IProgressDelegate> const& progress,
                                              ImageFileReport& report);

} // namespace KetSDK::MeshVTK::Detail
