// SPDX-License-Identifier: BSD-3-Clause
#include <host/terminal/Wrapped.h>

#include <ostream>
#include <sstream>

namespace ketmesh {

namespace {

constexpr std::size_t LineWidth = 110;

} // namespace

void PrintWrapped(std::ostream& out, std::string const& text, std::size_t indent) {
    std::istringstream words(text);
    std::string line(indent, ' ');
    for (std::string word; words >> word;) {
        if (line.size() > indent && line.size() + 1 + word.size() > LineWidth) {
            out << line << '\n';
            line.assign(indent, ' ');
        }
        line += (line.size() > indent ? " " : "") + word;
    }
    out << line << '\n';
}

} // namespace ketmesh
