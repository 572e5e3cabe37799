// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace KetSDK::MeshVTK::Detail {

// Bytes in memory.
class FileBytes {
public:
    explicit FileBytes(std::size_t size)
        : m_bytes(std::make_unique_for_overwrite<char[]>(size))
        , m_size(size) {}

    char* Data() noexcept { return m_bytes.get(); }
    std::string_view View() const noexcept { return {m_bytes.get(), m_size}; }

private:
    std::unique_ptr<char[]> m_bytes;
    std::size_t m_size;
};

class OpenFile;

// A copy of a file in memory that has a name as well, for a reader that opens files by themselves and would
// copy bytes twice.
class MemoryFile {
public:
    // Throws as OpenFile::All does.
    MemoryFile(OpenFile const& file, std::shared_ptr<Common::IProgressDelegate> const& progress);
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;
    ~MemoryFile();

    std::string_view View() const noexcept { return {static_cast<char const*>(m_bytes), m_size}; }
    // Leads to this copy within this process, as long as it exists.
    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_file); }

private:
    int m_file;
    void* m_bytes = nullptr;
    std::size_t m_size;
};

// A file that is opened once, so that what is checked is what is read: its name may lead to another one the
// next time. Whatever is no regular file is refused, as pipes are, which may never say anything.
class OpenFile {
public:
    // Throws Error unless the path is that of a file that can be opened and is not empty; `endings` says what
    // kind of file is needed (".vtu or .vtk").
    OpenFile(std::filesystem::path const& path, char const* endings);
    OpenFile(OpenFile const&) = delete;
    OpenFile& operator=(OpenFile const&) = delete;
    ~OpenFile();

    // In bytes, when it was opened.
    std::uint64_t Size() const noexcept { return m_size; }
    // Reads bytes from an offset on; returns how many there were.
    std::size_t Read(std::uint64_t offset, char* to, std::size_t count) const;
    // The first bytes, or all of a shorter file.
    std::string First(std::size_t count) const;
    // All bytes. Throws Error when not all of them can be read; throws Cancelled. The delegate may be null.
    FileBytes All(std::shared_ptr<Common::IProgressDelegate> const& progress) const;

private:
    friend class MemoryFile;
    // Calls take(offset, bytes) for blocks, which says whether the file had them.
    template <typename Take>
    void ForEachBlock(std::shared_ptr<Common::IProgressDelegate> const& progress, Take&& take) const;

    int m_file;
    std::uint64_t m_size = 0;
};

} // namespace KetSDK::MeshVTK::Detail
