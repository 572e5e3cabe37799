#include <KetSDK/MeshJobs/Image.h>

#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/ImageVoxels.h>
#include <KetSDK/MeshVTK/ImageFile.h>

namespace KetSDK::MeshJobs {

Image ReadImage(std::string const& path, MeshVTK::LengthUnit unit, Context const& context) {
    return Detail::ForFile(path, [&] {
        MeshVTK::ImageFileReport report;
        auto voxels = std::make_shared<Image::Voxels>();
        voxels->data = MeshVTK::ReadImageFile(path, context.progress, &report);
        context.ThrowIfCancelled();
        return Image{path, report.note, unit, voxels};
    });
}

} // namespace KetSDK::MeshJobs
