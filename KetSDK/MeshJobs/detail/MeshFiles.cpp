// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/MeshFiles.h>

#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/Threads.h>

#include <utility>

namespace KetSDK::MeshJobs::Detail {

Model LoadMeshFile(std::string const& path, Context const& context) {
    MMeshFile::Content content;
    WithThreads(context, [&](bool parallel) { content = MMeshFile::Load(path, context.progress, parallel); });
    if (!content.mesh)
        throw Cancelled();
    Model model;
    model.mesh = std::move(content.mesh);
    model.fields = std::move(content.fields);
    model.arrays = std::move(content.arrays);
    model.frame = content.frame;
    return model;
}

void SaveMeshFile(Model const& model, std::string const& path, MMeshFile::Encoding encoding,
                  Context const& context) {
    bool saved = false;
    WithThreads(context, [&](bool parallel) {
        saved = MMeshFile::Save(*model.mesh, model.arrays, path, encoding, context.progress, model.frame,
                                parallel);
    });
    if (!saved)
        throw Cancelled();
}

std::string DescribeFault(MMeshFileError const& error) {
    switch (error.GetFault()) {
    case MMeshFileError::CannotOpen:
        return "it cannot be opened";
    case MMeshFileError::NotAMeshFile:
        return "this is no mesh file, though its name ends with .kmesh";
    case MMeshFileError::NewerVersion:
        return "it is of version " + std::to_string(error.GetVersion()) +
               " of the format, and this program reads up to version " + std::to_string(MMeshFile::Version) +
               "; a newer one is needed";
    case MMeshFileError::ChecksumDiffers:
        return "it is cut off or was changed after it was written: its checksum is another one; it has to be "
               "saved again";
    case MMeshFileError::BadContent:
        return "it is whole, but what it holds makes no mesh";
    case MMeshFileError::CannotWrite:
        return "it cannot be written: the disk is full or gone";
    }
    return error.what();
}

} // namespace KetSDK::MeshJobs::Detail
