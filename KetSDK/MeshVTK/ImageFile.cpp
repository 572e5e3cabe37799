#include <KetSDK/MeshVTK/ImageFile.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>
#include <KetSDK/MeshVTK/images/DicomFolder.h>
#include <KetSDK/MeshVTK/images/MetaImageFile.h>
#include <KetSDK/MeshVTK/images/NiftiFile.h>
#include <KetSDK/MeshVTK/images/VtiFile.h>

#include <vtkImageData.h>

namespace KetSDK::MeshVTK {

namespace {

constexpr char const* Kinds = ".nii, .nii.gz, .mha, .mhd or .vti";

struct ImageFormat {
    char const* ending;
    vtkSmartPointer<vtkImageData> (*read)(std::filesystem::path const& path, Detail::OpenFile const& file,
                                          std::shared_ptr<Common::IProgressDelegate> const& progress,
                                          ImageFileReport& report);
};

constexpr ImageFormat Formats[] = {{".nii", Detail::ReadNiftiFile},
                                   {".nii.gz", Detail::ReadNiftiFile},
                                   {".mha", Detail::ReadMetaImageFile},
                                   {".mhd", Detail::ReadMetaImageFile},
                                   {".vti", Detail::ReadVtiFile}};

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

} // namespace

vtkSmartPointer<vtkImageData> ReadImageFile(std::filesystem::path const& path,
                                            std::shared_ptr<Common::IProgressDelegate> const& progress,
                                            ImageFileReport* report) {
    ImageFileReport own_report;
    ImageFileReport& result = report ? *report : own_report;
    result = {};
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        return Detail::ReadDicomFolder(path, progress, result);
    Detail::OpenFile const file(path, Kinds);
    return FormatOf(path, file).read(path, file, progress, result);
}

} // namespace KetSDK::MeshVTK
