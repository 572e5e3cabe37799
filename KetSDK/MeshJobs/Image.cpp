// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Image.h>

#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/ImageVoxels.h>
#include <KetSDK/MeshVTK/Frames.h>
#include <KetSDK/MeshVTK/ImageFile.h>

namespace KetSDK::MeshJobs {

Image ReadImage(std::string const& path, MeshVTK::LengthUnit unit, Context const& context,
                std::string const& series) {
    return Detail::ReadingFile(path, context, [&] {
        MeshVTK::ImageFileReport report;
        auto voxels = std::make_shared<Image::Voxels>();
        voxels->data = MeshVTK::ReadImageFile(path, {series}, context.progress, &report);
        context.ThrowIfCancelled();
        return Image{path, report.note, unit, voxels, MeshVTK::FrameOf(*voxels->data)};
    });
}

Image MakeImage(MeshVTK::VoxelArray const& voxels, MeshVTK::LengthUnit unit,
                std::optional<Mesh::CoordinateFrame> frame) {
    return Detail::ForFile("", [&] {
        auto made = std::make_shared<Image::Voxels>();
        made->data = MeshVTK::ImageFromArray(voxels);
        MeshVTK::SetFrame(*made->data, frame);
        return Image{"", "", unit, made, frame};
    });
}

} // namespace KetSDK::MeshJobs
