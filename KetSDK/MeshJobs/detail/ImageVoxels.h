// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Image.h>

#include <vtkImageData.h>
#include <vtkSmartPointer.h>

namespace KetSDK::MeshJobs {

struct Image::Voxels {
    vtkSmartPointer<vtkImageData> data;
};

} // namespace KetSDK::MeshJobs
