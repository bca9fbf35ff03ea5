// tests/data/log_lines.txt: every line that the library can write. Field tooling keys on level, function and
// number, and reads the values by the format: a change of any of them is a change of the interface.
//
// Linking this file checks every line that a test leaves in the log when it ends.
#pragma once

#include <string>
#include <vector>

#include "fakes/fake_log.h"

namespace ztk::test {

/// "<level><tab><function><tab><number><tab><format>", control characters as in C.
std::string CatalogueEntry(const LogLine& line);

const std::vector<std::string>& Catalogue();

/// Fails the running test for every line that is not in the catalogue.
void ExpectInCatalogue(const std::vector<LogLine>& lines);

}  // namespace ztk::test
