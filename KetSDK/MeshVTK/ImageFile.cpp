// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/ImageFile.h>

#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/Frames.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>
#include <KetSDK/MeshVTK/images/DicomFolder.h>
#include <KetSDK/MeshVTK/images/MetaImageFile.h>
#include <KetSDK/MeshVTK/images/NiftiFile.h>
#include <KetSDK/MeshVTK/images/VtiFile.h>

#include <vtkFieldData.h>
#include <vtkImageData.h>

namespace KetSDK::MeshVTK {

namespace {

constexpr char const* Kinds = ".nii, .nii.gz, .mha, .mhd or .vti";

struct ImageFormat {
    char const* ending;
    Mesh::CoordinateFrame frame; // of an image that does not say another
    vtkSmartPointer<vtkImageData> (*read)(std::filesystem::path const& path, Detail::OpenFile const& file,
                                          std::shared_ptr<Common::IProgressDelegate> const& progress,
                                          ImageFileReport& report);
};

constexpr ImageFormat Formats[] = {{".nii", Mesh::CoordinateFrame::RAS, Detail::ReadNiftiFile},
                                   {".nii.gz", Mesh::CoordinateFrame::RAS, Detail::ReadNiftiFile},
                                   {".mha", Mesh::CoordinateFrame::LPS, Detail::ReadMetaImageFile},
                                   {".mhd", Mesh::CoordinateFrame::LPS, Detail::ReadMetaImageFile},
                                   {".vti", Mesh::CoordinateFrame::LPS, Detail::ReadVtiFile}};

// The ending of the name in lower case; of a packed file both endings.
std::string FullEnding(std::filesystem::path const& path) {
    std::string const ending = LowerCaseEnding(path);
    return ending == ".gz" ? LowerCaseEnding(path.stem()) + ending : ending;
}

ImageFormat const& FormatOf(std::filesystem::path const& path, Detail::OpenFile const& file) {
    std::string const ending = FullEnding(path);
    for (ImageFormat const& format : Formats)
        if (ending == format.ending)
            return format;
    if (file.First(132).ends_with("DICM"))
        throw Error("this is a single DICOM file; the folder with all slices is needed");
    throw Error(std::string("images are read from ") + Kinds + " files and from folders of DICOM slices");
}

void SayFrame(vtkImageData& image, Mesh::CoordinateFrame otherwise, ImageFileReport& report) {
    if (FrameOf(image))
        return;
    if (image.GetFieldData()->HasArray(ArrayNames::Space))
        report.note += (report.note.empty() ? "" : "; ") + std::string(ArrayNames::Space) +
                       " says neither RAS nor LPS, so the image is taken to be in " +
                       Mesh::FrameWord(otherwise);
    SetFrame(image, otherwise);
}

} // namespace

vtkSmartPointer<vtkImageData> ReadImageFile(std::filesystem::path const& path,
                                            std::shared_ptr<Common::IProgressDelegate> const& progress,
                                            ImageFileReport* report) {
    return ReadImageFile(path, {}, progress, report);
}

vtkSmartPointer<vtkImageData> ReadImageFile(std::filesystem::path const& path,
                                            ImageFileOptions const& options,
                                            std::shared_ptr<Common::IProgressDelegate> const& progress,
                                            ImageFileReport* report) {
    ImageFileReport own_report;
    ImageFileReport& result = report ? *report : own_report;
    result = {};
    std::error_code error;
    vtkSmartPointer<vtkImageData> image;
    Mesh::CoordinateFrame frame = Mesh::CoordinateFrame::LPS;
    if (std::filesystem::is_directory(path, error)) {
        image = Detail::ReadDicomFolder(path, progress, result, options.series);
    } else {
        Detail::OpenFile const file(path, Kinds);
        ImageFormat const& format = FormatOf(path, file);
        if (!options.series.empty())
            throw Error("only folders of DICOM slices hold series (--series)");
        image = format.read(path, file, progress, result);
        frame = format.frame;
    }
    SayFrame(*image, frame, result);
    return image;
}

} // namespace KetSDK::MeshVTK
