// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/FileSystem/MFile.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>

namespace {

constexpr std::size_t BufferSize = 64 * 1024;
constexpr std::size_t FilePage = 4096;
// From here on a block is read to where it is wanted, without a copy of it in the buffer.
constexpr std::size_t LargeBlock = 16 * 1024;
// Fits into the processor's cache: an observer has just seen it there when it goes to the system.
constexpr std::size_t MostAtOnce = 256 * 1024;

// The size of an open regular file; false for folders, pipes and devices.
bool SizeOfRegularFile(std::FILE* file, std::uint64_t& size) {
    struct stat status {};
    if (fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    size = static_cast<std::uint64_t>(status.st_size);
    return true;
}

// Not to block keeps the opening of a pipe from waiting for somebody who writes to it.
std::FILE* OpenForReading(char const* path) {
    int const file = ::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    std::FILE* const stream = file >= 0 ? ::fdopen(file, "rb") : nullptr;
    if (stream == nullptr && file >= 0) {
        ::close(file);
    }
    return stream;
}

} // namespace

MFile::~MFile() {
    Close();
}

bool MFile::Open(MFileName const& path, Mode mode) {
    Close();
    m_good = false;
    m_observer = nullptr;
    m_size = 0;
    m_passed = 0;
    char const* const name = path.GetPath().c_str();
    std::FILE* const file = mode == Mode::Read ? OpenForReading(name) : std::fopen(name, "wb");
    if (file == nullptr) {
        return false;
    }
    if (mode == Mode::Read && !SizeOfRegularFile(file, m_size)) {
        std::fclose(file);
        return false;
    }
    std::setvbuf(file, nullptr, _IONBF, 0); // the buffer here is the only one
    if (!m_buffer) {
        m_buffer = std::make_unique_for_overwrite<std::byte[]>(BufferSize);
    }
    if (mode == Mode::Read) {
        m_read = m_read_end = m_buffer.get();
    } else {
        m_write = m_buffer.get();
        m_write_end = m_write + BufferSize;
    }
    m_file = file;
    m_good = true;
    return true;
}

bool MFile::Sync() {
    m_good = Flush() && m_write != nullptr && std::fflush(m_file) == 0 && fsync(fileno(m_file)) == 0;
    return m_good;
}

bool MFile::Close() {
    if (m_file != nullptr) {
        Flush();
        m_good = std::fclose(m_file) == 0 && m_good;
        m_file = nullptr;
        m_passed -= static_cast<std::uint64_t>(m_read_end - m_read);
        m_read = m_read_end = nullptr;
        m_write = m_write_end = nullptr;
    }
    return m_good;
}

std::size_t MFile::Read(void* data, std::size_t size) {
    auto* out = static_cast<std::byte*>(data);
    std::size_t missing = size;
    while (missing > 0) {
        std::size_t const buffered = static_cast<std::size_t>(m_read_end - m_read);
        if (buffered > 0) {
            std::size_t const part = std::min(buffered, missing);
            std::memcpy(out, m_read, part);
            m_read += part;
            out += part;
            missing -= part;
        } else if (missing < LargeBlock) {
            if (Fetch(nullptr, 0, BufferSize) == 0) {
                break;
            }
        } else {
            // What follows a large block is small, or another one that goes around the buffer, too.
            std::size_t const part = std::min(missing, MostAtOnce);
            std::size_t const got = std::min(Fetch(out, part, FilePage), part);
            if (got == 0) {
                break;
            }
            out += got;
            missing -= got;
        }
    }
    if (missing > 0) {
        std::memset(out, 0, missing);
        m_good = false;
    }
    return size - missing;
}

bool MFile::Write(void const* data, std::size_t size) {
    auto const* in = static_cast<std::byte const*>(data);
    if (m_write == nullptr) {
        m_good = m_good && size == 0;
        return m_good;
    }
    while (static_cast<std::size_t>(m_write_end - m_write) < size && m_good) {
        // The system takes whole pages of a file in half the time.
        std::size_t const buffered = static_cast<std::size_t>(m_write - m_buffer.get());
        std::size_t const most = std::min(size, MostAtOnce);
        std::size_t const beyond_page = static_cast<std::size_t>((m_passed + buffered + most) % FilePage);
        std::size_t const part = most - std::min(most, beyond_page);
        Put(in, part);
        in += part;
        size -= part;
    }
    if (m_good && size > 0) {
        std::memcpy(m_write, in, size);
        m_write += size;
    }
    return m_good;
}

bool MFile::Flush() {
    if (m_write != nullptr) {
        Put(nullptr, 0);
    }
    return m_good;
}

// Fetches the next bytes to a place, and up to so many of those behind them into the empty buffer. Returns
// how many there were.
std::size_t MFile::Fetch(std::byte* out, std::size_t size, std::size_t behind) {
    if (m_read == nullptr || !m_good) {
        return 0;
    }
    iovec parts[] = {{out, size}, {m_buffer.get(), behind}};
    ssize_t count = -1;
    do {
        count = ::readv(fileno(m_file), parts, 2);
    } while (count < 0 && errno == EINTR);
    std::size_t const got = count > 0 ? static_cast<std::size_t>(count) : 0;
    std::size_t const there = std::min(got, size);
    m_passed += got;
    m_read = m_buffer.get();
    m_read_end = m_read + (got - there);
    Tell(out, there);
    Tell(m_read, got - there);
    return got;
}

// Hands the system what is buffered and the bytes behind it. Empties the buffer in any case: after a failure
// the rest of the file is thrown away.
void MFile::Put(std::byte const* in, std::size_t size) {
    std::size_t const buffered = static_cast<std::size_t>(m_write - m_buffer.get());
    m_write = m_buffer.get();
    m_passed += buffered + size;
    Tell(m_buffer.get(), buffered);
    Tell(in, size);
    iovec parts[] = {{m_buffer.get(), buffered}, {const_cast<std::byte*>(in), size}};
    while (m_good && parts[0].iov_len + parts[1].iov_len > 0) {
        ssize_t const count = ::writev(fileno(m_file), parts, 2);
        m_good = count > 0 || (count < 0 && errno == EINTR);
        for (std::size_t done = count > 0 ? static_cast<std::size_t>(count) : 0; iovec & part : parts) {
            std::size_t const of_part = std::min(done, part.iov_len);
            part.iov_base = static_cast<std::byte*>(part.iov_base) + of_part;
            part.iov_len -= of_part;
            done -= of_part;
        }
    }
}
