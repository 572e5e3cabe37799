// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/LineFile.h>

#include <KetSDK/MeshSolver/Error.h>

#include <algorithm>
#include <charconv>
#include <system_error>

namespace KetSDK::MeshSolver::Detail {

namespace {

constexpr std::size_t PieceSize = 1U << 20;

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

char Upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool ParseReal(std::string_view text, double& value) {
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

// What C++ takes for a number: E for D, and an E before an exponent that has none.
std::string Respelled(std::string_view text) {
    std::string spelled;
    for (char const c : text) {
        char const upper = Upper(c);
        bool const is_sign = c == '+' || c == '-';
        if (is_sign && !spelled.empty() && spelled.back() != 'E')
            spelled += 'E';
        if (c != '+')
            spelled += upper == 'D' ? 'E' : upper;
    }
    return spelled;
}

} // namespace

LineFile::LineFile(std::filesystem::path const& path)
    : m_file(path, std::ios::binary) {
    std::error_code error;
    m_size = std::filesystem::file_size(path, error);
    if (!m_file || error)
        throw Error("it cannot be opened");
}

bool LineFile::Fill() {
    m_buffer.erase(0, m_begin);
    m_begin = 0;
    std::size_t const used = m_buffer.size();
    m_buffer.resize(used + PieceSize);
    m_file.read(m_buffer.data() + used, static_cast<std::streamsize>(PieceSize));
    auto const got = static_cast<std::size_t>(m_file.gcount());
    m_buffer.resize(used + got);
    m_position += got;
    return got > 0;
}

bool LineFile::Next(std::string_view& line) {
    std::size_t searched = m_begin;
    std::size_t end = m_buffer.find('\n', searched);
    while (end == std::string::npos) {
        searched = m_buffer.size() - m_begin;
        if (!Fill())
            break;
        end = m_buffer.find('\n', searched);
    }
    bool const is_last = end == std::string::npos;
    if (is_last && m_begin == m_buffer.size())
        return false;
    line = std::string_view(m_buffer).substr(m_begin, is_last ? std::string::npos : end - m_begin);
    m_begin = is_last ? m_buffer.size() : end + 1;
    ++m_number;
    if (line.find('\0') != std::string_view::npos)
        throw Error("line " + std::to_string(m_number) + " holds bytes that are no text");
    return true;
}

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

std::string NameKey(std::string_view name) {
    std::string key;
    for (char const c : name)
        if (!IsBlank(c))
            key += Upper(c);
    return key;
}

bool ReadReal(std::string_view text, double& value) {
    text = Trimmed(text);
    return ParseReal(text, value) || ParseReal(Respelled(text), value);
}

bool ReadId(std::string_view text, std::int32_t& value) {
    text = Trimmed(text);
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && value > 0;
}

} // namespace KetSDK::MeshSolver::Detail
