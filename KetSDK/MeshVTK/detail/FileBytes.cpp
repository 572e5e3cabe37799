// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/FileBytes.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Support/ReadAt.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

namespace KetSDK::MeshVTK::Detail {

namespace {

constexpr std::size_t BlockSize = std::size_t{1} << 25; // between two looks at cancellation
constexpr std::size_t LoadedAtOnce = 4096;
constexpr std::size_t CopiedAtOnce = std::size_t{1} << 18; // by a thread
constexpr std::size_t LongestHead = std::size_t{1} << 16;  // of XML in front of appended data

constexpr char const* CutOff = "it cannot be read to its end";

// Whether a file of VTK's XML that begins so says that its arrays lie behind, raw and not packed. It may say
// so in the wrong place.
bool HasRawArrays(std::string_view head) {
    std::size_t const begin = head.find("<AppendedData");
    if (begin == std::string_view::npos || head.find("compressor") < begin)
        return false;
    std::string_view const tag = head.substr(begin, head.find('>', begin) - begin);
    return tag.find("raw") != std::string_view::npos;
}

} // namespace

FileBytes::FileBytes(std::size_t size)
    : m_bytes(std::make_unique_for_overwrite<char[]>(size))
    , m_size(size) {}

FileBytes::FileBytes(OpenFile const& file, bool parallel)
    : FileBytes(static_cast<std::size_t>(file.Size())) {
    m_file = &file;
    m_parallel = parallel;
    m_is_there.resize(m_size / LoadedAtOnce + 1);
}

template <typename Visit>
bool FileBytes::ForEachStretch(std::size_t first, std::size_t last, Visit&& visit) const {
    while (first < last) {
        std::size_t block = first / LoadedAtOnce;
        bool const is_there = m_is_there[block];
        std::size_t end = first;
        for (; end < last && m_is_there[block] == is_there; ++block)
            end = (block + 1) * LoadedAtOnce;
        end = std::min(end, last);
        if (!visit(first, end, is_there))
            return false;
        first = end;
    }
    return true;
}

void FileBytes::Load(std::string_view part) const {
    if (!m_file || part.empty())
        return;
    auto const at = static_cast<std::size_t>(part.data() - m_bytes.get());
    std::size_t const first = at / LoadedAtOnce * LoadedAtOnce;
    std::size_t const last =
        std::min((at + part.size() + LoadedAtOnce - 1) / LoadedAtOnce * LoadedAtOnce, m_size);
    bool const is_complete =
        ForEachStretch(first, last, [&](std::size_t begin, std::size_t end, bool is_there) {
            if (is_there)
                return true;
            if (m_file->Read(begin, m_bytes.get() + begin, end - begin) != end - begin)
                return false;
            for (std::size_t block = begin / LoadedAtOnce; block * LoadedAtOnce < end; ++block)
                m_is_there[block] = true;
            return true;
        });
    if (is_complete)
        return;
    m_is_cut_off = true; // streams swallow what is thrown
    throw Error(CutOff);
}

void FileBytes::CheckComplete() const {
    if (m_is_cut_off)
        throw Error(CutOff);
}

bool FileBytes::Copy(std::size_t offset, char* to, std::size_t count) const {
    if (!m_file) {
        std::memcpy(to, m_bytes.get() + offset, count);
        return true;
    }
    auto const copy = [&](std::uint64_t first, std::uint64_t last, int& is_complete) {
        is_complete = ForEachStretch(
            offset + first, offset + last, [&](std::size_t begin, std::size_t end, bool is_there) {
                if (!is_there)
                    return m_file->Read(begin, to + (begin - offset), end - begin) == end - begin;
                std::memcpy(to + (begin - offset), m_bytes.get() + begin, end - begin);
                return true;
            });
    };
    bool const is_complete =
        Support::ComputeSteps<int>({.items = count, .step = CopiedAtOnce, .parallel = m_parallel}, copy,
                                   [](std::uint64_t, std::uint64_t, int complete) { return complete != 0; });
    m_is_cut_off = m_is_cut_off || !is_complete;
    return is_complete;
}

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
    return Support::ReadAt(m_file, offset, to, count);
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
            throw Error(CutOff);
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

FileBytes OpenFile::ForXml(std::shared_ptr<Common::IProgressDelegate> const& progress, bool parallel) const {
    return HasRawArrays(First(LongestHead)) ? FileBytes(*this, parallel) : All(progress);
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
