#pragma once

#include <string>

#include "torture/model/lock_step.h"

namespace ztk::torture {

/// Throws Difference with both if they are not the same.
void CompareLines(const std::string& what, const LogText& expected, const LogText& wrote);

template <class Number>
void CompareNumbers(const std::string& what, Number expected, Number found) {
    if (expected == found) return;
    throw Difference(what + ": expected " + std::to_string(expected) + ", found " + std::to_string(found));
}

inline void Check(bool bHolds, const std::string& what) {
    if (!bHolds) throw Difference(what);
}

}  // namespace ztk::torture
