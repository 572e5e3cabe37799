#pragma once

#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <string>

namespace KetSDK::MeshJobs::Detail {

// What messages call a model or surface: by its file, if it has one.
std::string NameOf(Model const& model);
std::string NameOf(SurfaceModel const& surface);

} // namespace KetSDK::MeshJobs::Detail
