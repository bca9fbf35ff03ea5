// What the sweep at load must do about a name, told apart from the library and in other words.
//
//   It looks at regular files that have "ZTKTool" in their names. The owner is what stands between the first
//   and the last dash. An owner that is spelled like the sweeping process itself is stale; of any other the
//   number in front is asked for, and the object is stale unless such a process answers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ztk::torture {

enum class EntryType : int { kOther = 0, kRegular = 1, kDirectory = 2 };

struct Verdict {
    int nLine = 0;            ///< of the line that is logged about it, after the one that names it; 0: none
    bool bOwn = false;        ///< it bears the sweeping process's own id: stale
    bool bAsked = false;      ///< its owner is asked for
    std::int32_t nAsked = 0;  ///< by this id

    bool IsMarked() const { return bOwn || bAsked; }
};

bool operator==(const Verdict& a, const Verdict& b);

constexpr int kLineNoRegularFile = 739;
constexpr int kLineMalformed = 730;

Verdict Judge(std::string_view name, EntryType enType, std::string_view own);

/// The number that a text begins with, blanks and a sign before it allowed; 0 without one. A process id has
/// 32 bits: of larger numbers the low ones count, and those of the largest for what is out of range.
std::int32_t LeadingId(std::string_view text);

}  // namespace ztk::torture
