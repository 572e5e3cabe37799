// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

namespace KetSDK::MeshSolver::Detail {

// A number as solvers read it: the shortest that reads back as it was, and no longer than the 20 characters
// after which solvers cut numbers off without a word. What needs more is rounded to 14 digits.
std::string RealText(double value);
// The same for a density in tonne/mm3 that is given in g/cm3: the digits are those of the latter.
std::string DensityText(double gram_per_cm3);

// A text file that is written in large pieces.
class TextFile {
public:
    // Throws Error when the file cannot be written.
    explicit TextFile(std::filesystem::path const& path);

    TextFile& operator<<(std::string_view text) {
        if (text.size() > Size - m_used) {
            Flush();
            if (text.size() > Size) {
                m_file.write(text.data(), static_cast<std::streamsize>(text.size()));
                return *this;
            }
        }
        std::memcpy(m_buffer.get() + m_used, text.data(), text.size());
        m_used += text.size();
        return *this;
    }
    TextFile& operator<<(char c) {
        Reserve(1);
        m_buffer[m_used++] = c;
        return *this;
    }
    TextFile& operator<<(std::int64_t number) {
        Reserve(24);
        char* const end = std::to_chars(m_buffer.get() + m_used, m_buffer.get() + Size, number).ptr;
        m_used = static_cast<std::size_t>(end - m_buffer.get());
        return *this;
    }
    TextFile& operator<<(double number) { return *this << std::string_view(RealText(number)); }

    // A coordinate in internal units as mm with six decimals, from which every integer comes back.
    TextFile& Coordinate(MLong internal);

    // Throws Error when something could not be written.
    void Close();

private:
    static constexpr std::size_t Size = 1U << 20;

    void Reserve(std::size_t size) {
        if (size > Size - m_used)
            Flush();
    }
    void Flush();

    std::ofstream m_file;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_used = 0;
};

} // namespace KetSDK::MeshSolver::Detail
