// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/Support/MArenaAllocator.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

// A text file, line by line, in memory that does not grow with it but with its longest line.
class LineFile {
public:
    // When parallel, several threads fetch what comes next. Throws Error when the file cannot be opened.
    explicit LineFile(std::filesystem::path const& path, bool parallel = false);
    LineFile(LineFile const&) = delete;
    LineFile& operator=(LineFile const&) = delete;
    ~LineFile();

    // The next line without its end, valid until the next call; false at the end of the file. Throws Error
    // for a file that is no text.
    bool Next(std::string_view& line);
    // The lines to come, some MB of them at most, without taking them; valid until the next call but of Take.
    // There are none at the end of the file only. Whoever reads them looks for bytes that are no text.
    std::string_view LinesAhead();
    // Those before one that has the character; there may be none.
    std::string_view LinesAheadWithout(char c);
    // Takes so many bytes of them, which are so many lines.
    void Take(std::size_t bytes, std::uint64_t lines) noexcept {
        m_begin += bytes;
        m_number += lines;
    }

    // Of the line read last, from 1.
    std::uint64_t GetLineNumber() const noexcept { return m_number; }
    // Bytes that were taken, and those of the file when it was opened.
    std::uint64_t GetPosition() const noexcept { return m_position - Ahead().size(); }
    std::uint64_t GetSize() const noexcept { return m_size; }

private:
    bool Fill();
    void MakeRoom(std::size_t bytes);
    std::string_view Ahead() const noexcept { return {m_buffer.data() + m_begin, m_end - m_begin}; }

    int m_file;
    bool m_parallel;
    std::uint64_t m_size = 0;
    std::vector<char, Support::MUninitializedAllocator<char>> m_buffer;
    std::size_t m_begin = 0; // what is not given out yet
    std::size_t m_end = 0;
    std::uint64_t m_position = 0; // up to which the file was fetched
    std::uint64_t m_number = 0;
};

// Pieces of some lines, for as many steps of work. All but the last are of 64 KB or a little more.
std::vector<std::string_view> PiecesOf(std::string_view lines);

inline bool IsBlank(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\r';
}
// Without blanks at both ends.
inline std::string_view Trimmed(std::string_view text) noexcept {
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}
// Whether a line holds bytes that no text has, and the error that says so of one.
inline bool IsNoText(std::string_view line) noexcept {
    return line.find('\0') != std::string_view::npos;
}
Error NoText(std::uint64_t line);
// In capitals, without blanks: names that are one to solvers are the same.
std::string NameKey(std::string_view name);

// Numbers as Fortran writes them: a sign, "1.5D+00" and "1.5-101" too. False for anything else.
bool ReadReal(std::string_view text, double& value);
// A whole number from 1 to 2147483647.
bool ReadId(std::string_view text, std::int32_t& value);

} // namespace KetSDK::MeshSolver::Detail
