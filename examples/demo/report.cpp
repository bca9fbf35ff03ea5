#include "report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace demo {

void PrintTable(const std::string& title, const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    }
    std::string text = fmt::format("\n{}\n", title);
    for (const auto& row : rows) {
        text += fmt::format("  {:<{}}", row[0], widths[0]);
        for (std::size_t i = 1; i < row.size(); ++i)
            text += fmt::format("  {:>{}}", row[i], widths[i]);
        text += '\n';
    }
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

void PrintProgress(const std::string& line) {
    fmt::print("{}\n", line);
    std::fflush(stdout);
}

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream file(path);
    file << text << std::flush;
    if (!file) throw std::runtime_error(fmt::format("{}: cannot be written", path));
}

}  // namespace demo
