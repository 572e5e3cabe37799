// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

// Walks through the lines of a text and cuts them into words, for checks of text files.
class TextLines {
public:
    explicit TextLines(std::string_view text)
        : m_text(text) {}

    // Goes to the next line. False at the end.
    bool Next();
    // The current line without its end, which is a line feed with or without a carriage return.
    std::string_view Line() const noexcept { return m_line; }
    // Its words, between spaces and tabulators.
    std::vector<std::string_view> const& Words() const noexcept { return m_words; }
    // What stands behind the first word, from the second to the last one.
    std::string Rest() const;
    // Number of the line, from 1.
    std::size_t Number() const noexcept { return m_number; }
    // Where the next line begins in the text.
    std::size_t Position() const noexcept { return m_next; }
    // Whether the current line ends with a line feed; only the last one may not.
    bool IsComplete() const noexcept { return m_complete; }
    // Throws Error that says what is wrong with the current line.
    [[noreturn]] void Refuse(std::string const& what) const;

private:
    std::string_view m_text;
    std::string_view m_line;
    std::vector<std::string_view> m_words;
    std::size_t m_next = 0;
    std::size_t m_number = 0;
    bool m_complete = true;
};

// The number that a word is, whole and nothing else.
std::optional<double> AsNumber(std::string_view word);
std::optional<long long> AsWholeNumber(std::string_view word);
// The text in lower case.
std::string LowerCase(std::string_view text);

} // namespace KetSDK::MeshVTK::Detail
