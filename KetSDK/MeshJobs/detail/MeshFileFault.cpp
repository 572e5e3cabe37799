// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/MeshFileFault.h>

namespace KetSDK::MeshJobs::Detail {

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
