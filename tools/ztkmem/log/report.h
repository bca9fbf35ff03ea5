// What `ztkmem log` prints.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "log/analysis.h"
#include "log/findings.h"
#include "log/timeline.h"

namespace ztkmem::log {

struct Report {
    std::string name;  ///< of the log
    std::uint64_t nLines;
    const Analysis& analysis;
    const Timeline& times;
    std::vector<Finding> findings;
};

std::string ReportText(const Report& report);
std::string ReportJson(const Report& report);

}  // namespace ztkmem::log
