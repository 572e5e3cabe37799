// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/checks/TextLines.h>

#include <KetSDK/MeshVTK/Error.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <system_error>

namespace KetSDK::MeshVTK::Detail {

namespace {

// Readers differ in what else they take for space: whatever it is, it is part of a word here, which then
// fits nowhere.
bool IsSpace(char c) {
    return c == ' ' || c == '\t';
}

template <typename T>
std::optional<T> Parse(std::string_view word) {
    if (word.size() > 1 && word[0] == '+' && word[1] != '-')
        word.remove_prefix(1);
    T value{};
    auto const result = std::from_chars(word.data(), word.data() + word.size(), value);
    if (result.ec != std::errc() || result.ptr != word.data() + word.size())
        return std::nullopt;
    return value;
}

} // namespace

std::string TextLines::Rest() const {
    if (m_words.size() < 2)
        return {};
    return {m_words[1].data(),
            static_cast<std::size_t>(m_words.back().data() + m_words.back().size() - m_words[1].data())};
}

bool TextLines::Next() {
    if (m_next >= m_text.size())
        return false;
    std::size_t const end = m_text.find('\n', m_next);
    m_complete = end != std::string_view::npos;
    m_line = m_text.substr(m_next, m_complete ? end - m_next : end);
    m_next = m_complete ? end + 1 : m_text.size();
    ++m_number;
    if (m_line.ends_with('\r'))
        m_line.remove_suffix(1);
    m_words.clear();
    for (std::size_t at = 0; at < m_line.size();) {
        std::size_t const begin = at;
        while (at < m_line.size() && !IsSpace(m_line[at]))
            ++at;
        if (at > begin)
            m_words.push_back(m_line.substr(begin, at - begin));
        else
            ++at;
    }
    return true;
}

void TextLines::Refuse(std::string const& what) const {
    throw Error("line " + std::to_string(m_number) + " " + what);
}

std::optional<double> AsNumber(std::string_view word) {
    return Parse<double>(word);
}

std::optional<long long> AsWholeNumber(std::string_view word) {
    return Parse<long long>(word);
}

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

} // namespace KetSDK::MeshVTK::Detail
