// SPDX-License-Identifier: BSD-3-Clause
#include <host/terminal/HelpFormatter.h>

#include <cstddef>
#include <sstream>

namespace ketmesh {

namespace {

constexpr std::size_t HelpColumns = 80;

// Lines of at most `columns` characters, except for words that are longer.
std::string Wrap(std::string const& text, std::size_t columns) {
    std::istringstream words(text);
    std::string wrapped;
    std::size_t taken = 0; // in the last line
    for (std::string word; words >> word;) {
        bool const fits = taken == 0 || taken + 1 + word.size() <= columns;
        if (!wrapped.empty())
            wrapped += fits ? ' ' : '\n';
        taken = fits && taken > 0 ? taken + 1 + word.size() : word.size();
        wrapped += word;
    }
    return wrapped;
}

} // namespace

std::string HelpFormatter::make_option_desc(CLI::Option const* option) const {
    return Wrap(CLI::Formatter::make_option_desc(option), HelpColumns - get_column_width());
}

std::string HelpFormatter::make_footer(CLI::App const* app) const {
    std::istringstream lines(CLI::Formatter::make_footer(app));
    std::string footer;
    std::string paragraph;
    auto const end_paragraph = [&footer, &paragraph] {
        if (!paragraph.empty())
            footer += Wrap(paragraph, HelpColumns) + '\n';
        paragraph.clear();
    };
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.front() != ' ') {
            paragraph += line + ' ';
            continue;
        }
        end_paragraph();
        footer += line + '\n';
    }
    end_paragraph();
    return footer;
}

} // namespace ketmesh
