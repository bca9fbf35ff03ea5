// What a program tells: tables and progress on the terminal, results in files.
#pragma once

#include <string>
#include <vector>

namespace demo {

/// The first row holds the headings; the first column is set left, the others right.
void PrintTable(const std::string& title, const std::vector<std::vector<std::string>>& rows);

/// Prints one line at once, also into a pipe.
void PrintProgress(const std::string& line);

/// Throws if the file cannot be written.
void WriteText(const std::string& path, const std::string& text);

}  // namespace demo
