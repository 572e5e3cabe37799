// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Image.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <string>

namespace KetSDK::MeshJobs::Detail {

// What messages call a model, surface or image: by its file, if it has one.
std::string NameOf(Model const& model);
std::string NameOf(SurfaceModel const& surface);
std::string NameOf(Image const& image);

} // namespace KetSDK::MeshJobs::Detail
