// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/DeckWords.h>

#include <cstddef>
#include <utility>

namespace KetSDK::MeshSolver::Detail {

std::vector<std::string_view> Words(std::string_view line) {
    std::vector<std::string_view> words;
    while (true) {
        std::size_t const comma = line.find(',');
        words.push_back(Trimmed(line.substr(0, comma)));
        if (comma == std::string_view::npos)
            break;
        line.remove_prefix(comma + 1);
    }
    if (words.back().empty())
        words.pop_back();
    return words;
}

std::string Unquoted(std::string_view text) {
    text = Trimmed(text);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
        text = text.substr(1, text.size() - 2);
    return std::string(text);
}

DeckKeyword ParseKeyword(std::string_view line) {
    DeckKeyword keyword;
    bool is_first = true;
    for (std::string_view const word : Words(line.substr(1))) {
        if (std::exchange(is_first, false)) {
            for (char const c : word) {
                bool const is_blank = c == ' ' || c == '\t';
                if (!is_blank)
                    keyword.name += NameKey(std::string_view(&c, 1));
                else if (keyword.name.back() != ' ')
                    keyword.name += ' ';
            }
            continue;
        }
        std::size_t const equals = word.find('=');
        std::string const key = NameKey(word.substr(0, equals));
        keyword.parameters[key] = equals == std::string_view::npos ? "" : Unquoted(word.substr(equals + 1));
    }
    return keyword;
}

} // namespace KetSDK::MeshSolver::Detail
