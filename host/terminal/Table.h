// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace ketmesh {

// A table of text whose columns line up when printed.
class Table {
public:
    enum class Align { Left, Right };
    struct Column {
        std::string title;
        Align align;
    };

    explicit Table(std::vector<Column> columns);

    // Adds a row with one text in UTF-8 for each column.
    void AddRow(std::vector<std::string> cells);
    // Puts a line before the next row, for totals.
    void AddRule();
    // Writes titles, a line and the rows, each behind so many spaces. Of more than 100 rows before the line
    // of the totals only the first 100 are written, and how many there are more, unless the stream shows all.
    void Print(std::ostream& out, std::size_t indent = 0) const;

    // From now on tables are written to the stream with all of their rows.
    static void ShowAllRows(std::ostream& out);

private:
    std::vector<Column> m_columns;
    std::vector<std::vector<std::string>> m_rows; // an empty one is a line
};

} // namespace ketmesh
