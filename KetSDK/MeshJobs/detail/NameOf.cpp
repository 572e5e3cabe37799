// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/NameOf.h>

namespace KetSDK::MeshJobs::Detail {

std::string NameOf(Model const& model) {
    return model.file.empty() ? "the mesh" : model.file;
}

std::string NameOf(SurfaceModel const& surface) {
    return surface.file.empty() ? "the surface" : surface.file;
}

std::string NameOf(Image const& image) {
    return image.file.empty() ? "the image" : image.file;
}

} // namespace KetSDK::MeshJobs::Detail
