#pragma once

#include <string>
#include <vector>

#include "torture/faults/run.h"

namespace ztk::torture {

/// What is wrong with a run, whatever failed in it: an end that no fault of it explains, a status that no
/// function has, a granted block that is not taken back, a pool that is of no use afterwards, or something
/// left that no fault of it explains. Log lines and outputs are not looked at: each fault's own are held
/// against outcomes.txt. Empty: nothing. @p clean is the same scenario without faults.
std::vector<std::string> Violations(const std::string& scenario, const Outcome& clean, const Outcome& outcome,
                                    const std::vector<Fault>& faults);

}  // namespace ztk::torture
