// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/ModelBytes.h>

#include <KetSDK/Mesh/persistence/MMeshFile.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/MeshFiles.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <new>
#include <string>
#include <utility>

namespace KetSDK::MeshJobs {

namespace {

// A file that lies in memory alone and has a name within this process.
class FileInMemory {
public:
    FileInMemory()
        : m_file(::memfd_create("ketmesh", MFD_CLOEXEC)) {
        if (m_file < 0)
            throw std::bad_alloc();
    }
    FileInMemory(FileInMemory const&) = delete;
    FileInMemory& operator=(FileInMemory const&) = delete;
    ~FileInMemory() { ::close(m_file); }

    std::string Name() const { return "/proc/self/fd/" + std::to_string(m_file); }

    void Write(std::span<std::uint8_t const> bytes) {
        for (std::size_t at = 0; at < bytes.size();)
            at += Moved(::pwrite(m_file, bytes.data() + at, Piece(bytes.size() - at), Offset(at)));
    }
    std::vector<std::uint8_t> Read() const {
        off_t const size = ::lseek(m_file, 0, SEEK_END);
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(std::max<off_t>(size, 0)));
        for (std::size_t at = 0; at < bytes.size();)
            at += Moved(::pread(m_file, bytes.data() + at, Piece(bytes.size() - at), Offset(at)));
        return bytes;
    }

private:
    static std::size_t Piece(std::size_t left) { return std::min<std::size_t>(left, 1 << 30); }
    static off_t Offset(std::size_t at) { return static_cast<off_t>(at); }
    // Memory is all that such a file can lack.
    static std::size_t Moved(ssize_t bytes) {
        if (bytes == 0 || (bytes < 0 && errno != EINTR))
            throw std::bad_alloc();
        return static_cast<std::size_t>(std::max<ssize_t>(bytes, 0));
    }

    int m_file;
};

// Runs a step on bytes of a mesh file, and makes its errors those of jobs.
template <typename Step>
auto OnMeshBytes(Step const& step) {
    try {
        return step();
    } catch (MMeshFileError const& e) {
        if (e.GetFault() == MMeshFileError::CannotWrite)
            throw std::bad_alloc();
        throw Error("the bytes hold no mesh: " + (e.GetFault() == MMeshFileError::NotAMeshFile
                                                      ? "they are something else"
                                                      : Detail::DescribeFault(e)));
    }
}

void Save(Model const& model, FileInMemory const& file, Context const& context) {
    try {
        Detail::SaveMeshFile(model, file.Name(), MMeshFile::Binary, context);
    } catch (MMeshFileError const& e) {
        if (e.GetFault() == MMeshFileError::BadContent)
            throw Error("the mesh cannot be copied: it contradicts itself");
        throw;
    }
}

} // namespace

std::vector<std::uint8_t> BytesOf(Model const& model, Context const& context) {
    return OnMeshBytes([&] {
        FileInMemory const file;
        Save(model, file, context);
        return file.Read();
    });
}

Model ModelOfBytes(std::span<std::uint8_t const> bytes, Context const& context) {
    return OnMeshBytes([&] {
        FileInMemory file;
        file.Write(bytes);
        return Detail::LoadMeshFile(file.Name(), context);
    });
}

Model CopyModel(Model const& model, Context const& context) {
    return OnMeshBytes([&] {
        FileInMemory const file;
        Save(model, file, context);
        Model copy = Detail::LoadMeshFile(file.Name(), context);
        copy.file = model.file;
        copy.frame_is_given = model.frame_is_given;
        copy.rounding = model.rounding;
        return copy;
    });
}

} // namespace KetSDK::MeshJobs
