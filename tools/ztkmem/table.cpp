#include "table.h"

#include <algorithm>

#include "text.h"

namespace ztkmem {

std::string Padded(std::string_view text, std::size_t nWidth, Align enAlign) {
    const std::size_t nTaken = ColumnCount(text);
    const std::string blanks(nWidth > nTaken ? nWidth - nTaken : 0, ' ');
    return enAlign == Align::kLeft ? std::string(text) + blanks : blanks + std::string(text);
}

void Table::AddRow(std::vector<std::string> cells) {
    for (std::string& cell : cells)
        cell = ForTerminal(cell);
    rows_.push_back(std::move(cells));
}

std::size_t Table::WidthOf(std::size_t nColumn) const {
    std::size_t nWidth = ColumnCount(columns_[nColumn].title);
    for (const auto& row : rows_)
        nWidth = std::max(nWidth, ColumnCount(row.at(nColumn)));
    return nWidth;
}

std::string Table::Text() const {
    std::vector<std::string> lines(rows_.size() + 1);
    for (std::size_t nColumn = 0; nColumn < columns_.size(); ++nColumn) {
        const std::size_t nWidth = WidthOf(nColumn);
        const Column& column = columns_[nColumn];
        for (std::size_t nLine = 0; nLine < lines.size(); ++nLine) {
            const std::string& cell = nLine == 0 ? column.title : rows_[nLine - 1].at(nColumn);
            if (nColumn != 0) lines[nLine] += "  ";
            lines[nLine] += Padded(cell, nWidth, column.enAlign);
        }
    }
    std::string text;
    for (std::string& line : lines) {
        line.resize(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

}  // namespace ztkmem
