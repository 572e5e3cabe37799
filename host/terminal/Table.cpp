#include <host/terminal/Table.h>

#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <utility>

namespace ketmesh {

namespace {

// Number of characters, which is what a terminal lines up.
std::size_t Width(std::string const& utf8) {
    return static_cast<std::size_t>(
        std::ranges::count_if(utf8, [](char c) { return (static_cast<unsigned char>(c) & 0xC0u) != 0x80u; }));
}

} // namespace

Table::Table(std::vector<Column> columns)
    : m_columns(std::move(columns)) {}

void Table::AddRow(std::vector<std::string> cells) {
    std::ranges::transform(cells, cells.begin(), KetSDK::MeshVTK::Printable);
    m_rows.push_back(std::move(cells));
}

void Table::AddRule() {
    m_rows.emplace_back();
}

void Table::Print(std::ostream& out, std::size_t indent) const {
    std::vector<std::string> titles;
    std::vector<std::size_t> widths;
    for (Column const& column : m_columns) {
        titles.push_back(column.title);
        widths.push_back(Width(column.title));
    }
    for (auto const& row : m_rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], Width(row[i]));

    auto const print_row = [&](std::vector<std::string> const& cells) {
        std::string line(indent, ' ');
        for (std::size_t i = 0; i < m_columns.size(); ++i) {
            std::string const cell = cells.empty() ? std::string(widths[i], '-') : cells[i];
            std::string const padding(widths[i] - Width(cell), ' ');
            line += i == 0 ? "" : "  ";
            line += m_columns[i].align == Align::Left ? cell + padding : padding + cell;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    };
    print_row(titles);
    print_row({});
    for (auto const& row : m_rows)
        print_row(row);
}

} // namespace ketmesh
