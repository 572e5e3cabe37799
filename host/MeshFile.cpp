#include <host/MeshFile.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/InputFile.h>

#include <algorithm>
#include <array>

namespace ketmesh {

namespace {

constexpr char const* MeshFileEnding = ".kmesh";
constexpr std::array Endings = {MeshFileEnding, ".vtu", ".vtk"};

// What is wrong with a mesh file, and what would be right.
std::string Describe(MMeshFileError const& error) {
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

} // namespace

void CheckVolumeMeshName(std::string const& path, char const* use) {
    if (std::ranges::find(Endings, KetSDK::MeshVTK::LowerCaseEnding(path)) == Endings.end())
        throw KetSDK::MeshVTK::Error(std::string("volume meshes are ") + use +
                                     " .kmesh, .vtu and .vtk files only");
}

bool IsMeshFileName(std::string const& path) {
    return KetSDK::MeshVTK::LowerCaseEnding(path) == MeshFileEnding;
}

MMeshFile::Content ReadMeshFile(std::string const& path, Progress const& progress) {
    try {
        MMeshFile::Content content = MMeshFile::Load(path, progress);
        if (!content.mesh)
            throw KetSDK::MeshVTK::Cancelled();
        if (content.mesh->NumberOfElements() == 0)
            throw KetSDK::MeshVTK::Error("the mesh has no elements");
        return content;
    } catch (MMeshFileError const& e) {
        throw KetSDK::MeshVTK::Error(Describe(e));
    }
}

void WriteMeshFile(MMeshBase const& mesh, std::vector<MMeshArray> const& arrays, MMeshFile::Encoding encoding,
                   KetSDK::MeshVTK::OutputFile& file, Progress const& progress) {
    try {
        if (!MMeshFile::Save(mesh, arrays, file.GetTemporaryPath(), encoding, progress))
            throw KetSDK::MeshVTK::Cancelled();
    } catch (MMeshFileError const& e) {
        if (e.GetFault() == MMeshFileError::BadContent)
            throw KetSDK::MeshVTK::Error("the mesh cannot be saved: it contradicts itself");
        throw KetSDK::MeshVTK::Error(Describe(e));
    }
    file.Commit();
}

} // namespace ketmesh
