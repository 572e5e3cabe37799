// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
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

    std::uint64_t GetLineNumber() const noexcept { return m_number; } // of the line read last, from 1
    std::uint64_t GetPosition() const noexcept { return m_position; } // bytes that were read
    std::uint64_t GetSize() const noexcept { return m_size; }

private:
    bool Fill();

    std::ifstream m_file;
    std::uint64_t m_size = 0;
    std::string m_buffer;
    std::size_t m_begin = 0; // what is not given out yet
    std::uint64_t m_position = 0;
    std::uint64_t m_number = 0;
};

// Without blanks at both ends.
std::string_view Trimmed(std::string_view text);
// In capitals, without blanks: names that are one to solvers are the same.
std::string NameKey(std::string_view name);

// Numbers as Fortran writes them: a sign, "1.5D+00" and "1.5-101" too. False for anything else.
bool ReadReal(std::string_view text, double& value);
// A whole number from 1 to 2147483647.
bool ReadId(std::string_view text, std::int32_t& value);

} // namespace KetSDK::MeshSolver::Detail
