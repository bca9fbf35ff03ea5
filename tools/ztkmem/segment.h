// What is known about one object in /dev/shm, and about all of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "header.h"
#include "owner.h"
#include "segment_name.h"
#include "shm_directory.h"

namespace ztkmem {

struct User {
    int nId = 0;
    std::string command;  ///< escaped
};

struct Segment {
    std::string name;  ///< raw: escape it
    NameKind enKind = NameKind::kForeign;
    int nOwner = 0;       ///< 0: none
    std::string command;  ///< the owner's, escaped; empty if it is not in sight
    OwnerState enOwner = OwnerState::kNone;
    ObjectFacts facts;
    std::int64_t nAge = 0;  ///< seconds
    std::optional<Header> header;
    HeaderVerdict verdict;
    std::vector<User> users;  ///< processes other than the owner that map it
    /// Would the library's sweep, run here and now by this user, remove it? No value if that depends on
    /// process groups.
    std::optional<bool> sweepRemoves;
};

/// Left behind: named as the library names its objects, by a process that is proven dead. A directory or link
/// of such a name is not the library's.
bool IsStale(const Segment& segment);

enum class SortKey { kName, kOwner, kLength, kResident, kData, kAge };

/// Numbers: largest first; text and ids: ascending. Ties: by name. @p bReverse turns all of it round.
void SortSegments(std::vector<Segment>& segments, SortKey enKey, bool bReverse);

struct Totals {
    std::size_t nSegments = 0;
    std::uint64_t nLength = 0;
    std::uint64_t nResident = 0;
    std::size_t nStale = 0;
    std::uint64_t nStaleResident = 0;
    std::size_t nNotVisible = 0;  ///< owners
    std::size_t nReused = 0;      ///< owners that may be strangers
};

Totals AddUp(const std::vector<Segment>& segments);

}  // namespace ztkmem
