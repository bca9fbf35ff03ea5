// The words in which segments are told to people. No system access.
#pragma once

#include <string>
#include <vector>

#include "owner.h"
#include "segment.h"

namespace ztkmem {

enum class Units { kHuman, kBytes };

std::string Bytes(std::uint64_t nBytes, Units enUnits);

/// "0600"
std::string ModeText(unsigned nMode);

/// "alive", ...; for a name that bears no owner what is the matter with it.
std::string OwnerText(const Segment& segment);

/// "123(viewer) 456(saver)", at most three and "+2" for the others; "-" for none.
std::string UsersText(const std::vector<User>& users);

/// Why nobody can be proven dead; empty if it can be done.
std::string WhyNothingIsProven(const Visibility& visibility);

}  // namespace ztkmem
