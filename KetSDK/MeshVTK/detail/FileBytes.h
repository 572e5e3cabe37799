// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

class OpenFile;

// Bytes of a file in memory: all of them, or those that somebody has asked for. What was looked at once stays
// as it was, whatever becomes of the file. For one thread.
class FileBytes {
public:
    // Bytes that are there, to be written.
    explicit FileBytes(std::size_t size);
    // Bytes that come from the file, which is borrowed, when they are asked for. Long stretches come on all
    // threads when `parallel` is set.
    FileBytes(OpenFile const& file, bool parallel);

    char* Data() noexcept { return m_bytes.get(); }
    // The place of all bytes. What is there of those that nobody has asked for means nothing.
    std::string_view View() const noexcept { return {m_bytes.get(), m_size}; }
    // Asks for a part of the view. Throws Error when the file has become too short.
    void Load(std::string_view part) const;
    // Copies bytes, those that nobody has asked for from the file. False when it has become too short.
    bool Copy(std::size_t offset, char* to, std::size_t count) const;
    // Throws Error when that has happened to anybody.
    void CheckComplete() const;

private:
    // Calls visit(first, last, is_there) for stretches of a part, each of which is there as a whole or not at
    // all.
    template <typename Visit>
    bool ForEachStretch(std::size_t first, std::size_t last, Visit&& visit) const;

    std::unique_ptr<char[]> m_bytes;
    std::size_t m_size;
    OpenFile const* m_file = nullptr; // null: all bytes are there
    bool m_parallel = false;
    mutable std::vector<bool> m_is_there; // each block of bytes
    mutable bool m_is_cut_off = false;
};

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
    // The same for a file of VTK's XML, whose long arrays are better read where they will lie: where they are
    // raw, their bytes come when they are asked for. The file is borrowed then.
    FileBytes ForXml(std::shared_ptr<Common::IProgressDelegate> const& progress, bool parallel) const;

private:
    friend class MemoryFile;
    // Calls take(offset, bytes) for blocks, which says whether the file had them.
    template <typename Take>
    void ForEachBlock(std::shared_ptr<Common::IProgressDelegate> const& progress, Take&& take) const;

    int m_file;
    std::uint64_t m_size = 0;
};

} // namespace KetSDK::MeshVTK::Detail
