// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/FileSystem/MFile.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t BufferSize = 64 * 1024;

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
    m_fetched = 0;
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
        m_fetched -= static_cast<std::uint64_t>(m_read_end - m_read);
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
        if (buffered == 0 && missing >= BufferSize && m_read != nullptr && m_good) {
            std::size_t const got = std::fread(out, 1, missing, m_file); // large blocks need no buffer
            m_fetched += got;
            Tell(out, got);
            out += got;
            missing -= got;
            break;
        }
        if (buffered == 0) {
            if (!Fill()) {
                break;
            }
            continue;
        }
        std::size_t const part = std::min(buffered, missing);
        std::memcpy(out, m_read, part);
        m_read += part;
        out += part;
        missing -= part;
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
    if (static_cast<std::size_t>(m_write_end - m_write) < size && Flush() && size >= BufferSize) {
        Tell(in, size);
        m_good = m_good && std::fwrite(in, 1, size, m_file) == size;
        return m_good;
    }
    while (size > 0 && m_good) {
        std::size_t const part = std::min(static_cast<std::size_t>(m_write_end - m_write), size);
        std::memcpy(m_write, in, part);
        m_write += part;
        in += part;
        size -= part;
        if (size > 0) {
            Flush();
        }
    }
    return m_good;
}

// Empties the buffer in any case: after a failure the rest of the file is thrown away.
bool MFile::Flush() {
    if (m_write != nullptr) {
        std::size_t const size = static_cast<std::size_t>(m_write - m_buffer.get());
        Tell(m_buffer.get(), size);
        m_good = m_good && std::fwrite(m_buffer.get(), 1, size, m_file) == size;
        m_write = m_buffer.get();
    }
    return m_good;
}

// Fetches the next bytes into the empty buffer. False when there are none.
bool MFile::Fill() {
    if (m_read == nullptr || !m_good) {
        return false;
    }
    std::size_t const got = std::fread(m_buffer.get(), 1, BufferSize, m_file);
    m_fetched += got;
    m_read = m_buffer.get();
    m_read_end = m_read + got;
    Tell(m_read, got);
    return got > 0;
}
