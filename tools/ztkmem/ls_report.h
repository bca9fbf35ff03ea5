// What `ztkmem ls` prints. No system access.
#pragma once

#include <string>

#include "describe.h"
#include "survey.h"

namespace ztkmem {

/// A table, a line with totals, and a line for each thing that could not be seen.
std::string LsText(const Survey& survey, Units enUnits);

/// One JSON document; names and commands are escaped as Escape() does.
std::string LsJson(const Survey& survey);

}  // namespace ztkmem
