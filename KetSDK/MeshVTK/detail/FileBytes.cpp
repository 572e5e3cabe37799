// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/FileBytes.h>

#include <KetSDK/MeshVTK/Error.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

namespace KetSDK::MeshVTK::Detail {

namespace {

constexpr std::size_t BlockSize = std::size_t{1} << 25; // between two looks at cancellation

} // namespace

// Not to block keeps the opening of a pipe from waiting for somebody who writes to it.
OpenFile::OpenFile(std::filesystem::path const& path, char const* endings)
    : m_file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {
    if (m_file < 0)
        throw Error(errno == ENOENT || errno == ENOTDIR ? "there is no such file"
                                                        : "it cannot be opened for reading");
    struct stat status {};
    char const* fault = nullptr;
    if (::fstat(m_file, &status) != 0)
        fault = "it cannot be opened for reading";
    else if (S_ISDIR(status.st_mode))
        fault = "it is a folder";
    else if (!S_ISREG(status.st_mode))
        fault = "it is a pipe or a device";
    else if (status.st_size == 0)
        fault = "the file is empty";
    m_size = static_cast<std::uint64_t>(status.st_size);
    if (!fault)
        return;
    ::close(m_file);
    throw Error(S_ISREG(status.st_mode) ? fault : std::string(fault) + "; a " + endings + " file is needed");
}

OpenFile::~OpenFile() {
    ::close(m_file);
}

std::size_t OpenFile::Read(std::uint64_t offset, char* to, std::size_t count) const {
    std::size_t done = 0;
    while (done < count) {
        ssize_t const got = ::pread(m_file, to + done, count - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

std::string OpenFile::First(std::size_t count) const {
    std::string bytes(count, '\0');
    bytes.resize(Read(0, bytes.data(), count));
    return bytes;
}

template <typename Take>
void OpenFile::ForEachBlock(std::shared_ptr<Common::IProgressDelegate> const& progress, Take&& take) const {
    for (std::uint64_t at = 0; at < m_size; at += BlockSize) {
        if (!take(at, static_cast<std::size_t>(std::min<std::uint64_t>(BlockSize, m_size - at))))
            throw Error("it cannot be read to its end");
        if (progress && progress->IsCancelled())
            throw Cancelled();
    }
}

FileBytes OpenFile::All(std::shared_ptr<Common::IProgressDelegate> const& progress) const {
    FileBytes bytes(static_cast<std::size_t>(m_size));
    ForEachBlock(progress, [&](std::uint64_t at, std::size_t count) {
        return Read(at, bytes.Data() + at, count) == count;
    });
    return bytes;
}

MemoryFile::MemoryFile(OpenFile const& file, std::shared_ptr<Common::IProgressDelegate> const& progress)
    : m_file(::memfd_create("ketmesh", MFD_CLOEXEC))
    , m_size(static_cast<std::size_t>(file.m_size)) {
    if (m_file < 0)
        throw std::bad_alloc();
    try {
        file.ForEachBlock(progress, [&](std::uint64_t at, std::size_t count) {
            auto from = static_cast<off_t>(at);
            for (off_t const end = from + static_cast<off_t>(count); from < end;) {
                ssize_t const got =
                    ::sendfile(m_file, file.m_file, &from, static_cast<std::size_t>(end - from));
                if (got < 0 && errno == ENOMEM)
                    throw std::bad_alloc();
                if (got == 0 || (got < 0 && errno != EINTR))
                    return false;
            }
            return true;
        });
        m_bytes = ::mmap(nullptr, m_size, PROT_READ, MAP_SHARED | MAP_POPULATE, m_file, 0);
        if (m_bytes == MAP_FAILED)
            throw std::bad_alloc();
    } catch (...) {
        ::close(m_file);
        throw;
    }
}

MemoryFile::~MemoryFile() {
    ::munmap(m_bytes, m_size);
    ::close(m_file);
}

} // namespace KetSDK::MeshVTK::Detail
