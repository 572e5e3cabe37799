// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/detail/LineFile.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

// The words between commas.
std::vector<std::string_view> Words(std::string_view line);

// Takes the word before the next comma off a line, which has no data when that was the last.
inline std::string_view NextWord(std::string_view& line) {
    std::size_t const comma = line.find(',');
    std::string_view const word = Trimmed(line.substr(0, comma));
    line = comma == std::string_view::npos ? std::string_view() : line.substr(comma + 1);
    return word;
}

// Without blanks and quotation marks around it.
std::string Unquoted(std::string_view text);

// "*ELEMENT, TYPE=C3D4" with all of its parameters.
struct DeckKeyword {
    std::string name; // in capitals, with single blanks
    std::map<std::string, std::string> parameters;

    bool Has(std::string const& parameter) const { return parameters.contains(parameter); }
    std::string Get(std::string const& parameter) const {
        auto const found = parameters.find(parameter);
        return found == parameters.end() ? std::string() : found->second;
    }
};

// Of a line that begins with *.
DeckKeyword ParseKeyword(std::string_view line);

} // namespace KetSDK::MeshSolver::Detail
