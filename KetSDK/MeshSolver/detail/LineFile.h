// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/Error.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

namespace KetSDK::MeshSolver::Detail {

// A text file, line by line, in memory that does not grow with it but with its longest line.
class LineFile {
public:
    // Throws Error when the file cannot be opened.
    explicit LineFile(std::filesystem::path const& path);

    // The next line without its end, valid until the next call; false at the end of the file. Throws Error
    // for a file that is no text.
    bool Next(std::string_view& line);
    // Takes the lines to come up to one that has the character, some MB of them at most; valid until the next
    // call. There are none at the end of the file. Whoever reads them counts them, and looks for bytes that
    // are no text.
    std::string_view TakeLinesWithout(char c);
    void CountLines(std::uint64_t lines) noexcept { m_number += lines; }

    std::uint64_t GetLineNumber() const noexcept { return m_number; } // of the line read last, from 1
    std::uint64_t GetPosition() const noexcept { return m_position; } // bytes that were read
    std::uint64_t GetSize() const noexcept { return m_size; }

private:
    bool Fill();
    std::string_view Ahead() const noexcept { return {m_buffer.get() + m_begin, m_end - m_begin}; }

    std::ifstream m_file;
    std::uint64_t m_size = 0;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_capacity = 0;
    std::size_t m_begin = 0; // what is not given out yet
    std::size_t m_end = 0;
    std::uint64_t m_position = 0;
    std::uint64_t m_number = 0;
};

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
