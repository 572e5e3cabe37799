// SPDX-License-Identifier: BSD-3-Clause
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

constexpr std::size_t MostRows = 100;

// A word that streams keep for us: other than 0 when they show all rows.
int AllRowsIndex() {
    static int const index = std::ios_base::xalloc();
    return index;
}

} // namespace

void Table::ShowAllRows(std::ostream& out) {
    out.iword(AllRowsIndex()) = 1;
}

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
    // Rows from `cut` up to `resume` are left out.
    auto const totals = std::ranges::find_if(m_rows, [](auto const& row) { return row.empty(); });
    auto const resume = static_cast<std::size_t>(totals - m_rows.begin());
    std::size_t const cut = out.iword(AllRowsIndex()) != 0 ? resume : std::min(resume, MostRows);
    auto const is_shown = [cut, resume](std::size_t row) { return row < cut || row >= resume; };

    std::vector<std::string> titles;
    std::vector<std::size_t> widths;
    for (Column const& column : m_columns) {
        titles.push_back(column.title);
        widths.push_back(Width(column.title));
    }
    for (std::size_t row = 0; row < m_rows.size(); ++row)
        for (std::size_t i = 0; is_shown(row) && i < m_rows[row].size(); ++i)
            widths[i] = std::max(widths[i], Width(m_rows[row][i]));

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
    for (std::size_t row = 0; row < m_rows.size(); ++row) {
        if (row == cut && cut < resume)
            out << std::string(indent, ' ') << "... " << resume - cut << " more rows (--all-rows)\n";
        if (is_shown(row))
            print_row(m_rows[row]);
    }
}

} // namespace ketmesh
