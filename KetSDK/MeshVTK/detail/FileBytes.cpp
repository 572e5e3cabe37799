#include <KetSDK/MeshVTK/detail/FileBytes.h>

#include <KetSDK/MeshVTK/Error.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

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

FileBytes OpenFile::All(std::shared_ptr<Common::IProgressDelegate> const& progress) const {
    FileBytes bytes(static_cast<std::size_t>(m_size));
    for (std::uint64_t at = 0; at < m_size; at += BlockSize) {
        auto const count = static_cast<std::size_t>(std::min<std::uint64_t>(BlockSize, m_size - at));
        if (Read(at, bytes.Data() + at, count) != count)
            throw Error("it cannot be read to its end");
        if (progress && progress->IsCancelled())
            throw Cancelled();
    }
    return bytes;
}

} // namespace KetSDK::MeshVTK::Detail
