// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/LineFile.h>

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

namespace KetSDK::MeshSolver::Detail {

namespace {

constexpr std::size_t PieceSize = 1U << 20;

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
    std::string_view const ahead = Ahead();
    if (m_capacity - ahead.size() < PieceSize) {
        std::size_t const capacity = 2 * (ahead.size() + PieceSize);
        auto buffer = std::make_unique_for_overwrite<char[]>(capacity);
        std::ranges::copy(ahead, buffer.get());
        m_buffer = std::move(buffer);
        m_capacity = capacity;
    } else {
        std::ranges::copy(ahead, m_buffer.get());
    }
    m_end = ahead.size();
    m_begin = 0;
    m_file.read(m_buffer.get() + m_end, static_cast<std::streamsize>(PieceSize));
    auto const got = static_cast<std::size_t>(m_file.gcount());
    m_end += got;
    m_position += got;
    return got > 0;
}

bool LineFile::Next(std::string_view& line) {
    std::size_t end = Ahead().find('\n');
    while (end == std::string_view::npos) {
        std::size_t const searched = m_end - m_begin;
        if (!Fill())
            break;
        end = Ahead().find('\n', searched);
    }
    bool const is_last = end == std::string_view::npos;
    if (is_last && m_begin == m_end)
        return false;
    line = Ahead().substr(0, end);
    m_begin = is_last ? m_end : m_begin + end + 1;
    ++m_number;
    if (IsNoText(line))
        throw NoText(m_number);
    return true;
}

std::string_view LineFile::TakeLinesWithout(char c) {
    if (m_begin == m_end)
        Fill();
    // Up to the end of the last whole line before the character; at the end of the file the last line has
    // none.
    std::string_view const ahead = Ahead();
    std::size_t const found = ahead.find(c);
    bool const is_all = found == std::string_view::npos && m_position == m_size;
    std::size_t const lines_end = is_all ? ahead.size() : ahead.rfind('\n', found) + 1;
    m_begin += lines_end;
    return ahead.substr(0, lines_end);
}

Error NoText(std::uint64_t line) {
    return Error("line " + std::to_string(line) + " holds bytes that are no text");
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
