// Text in columns.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ztkmem {

enum class Align { kLeft, kRight };

struct Column {
    std::string title;
    Align enAlign = Align::kLeft;
};

class Table {
  public:
    explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

    /// One cell for each column, valid UTF-8 without line ends.
    void AddRow(std::vector<std::string> cells);

    /// Titles and rows, two blanks between columns, none at the end of a line.
    std::string Text() const;

  private:
    std::size_t WidthOf(std::size_t nColumn) const;

    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

/// @p text in @p nWidth columns; what is longer stays as it is.
std::string Padded(std::string_view text, std::size_t nWidth, Align enAlign);

}  // namespace ztkmem
