// How this library writes log lines.
//
// Field tooling keys on "function@line", so the number in a line is data, not the place of the call: it
// never follows the source. Function, number and text stand together at the call, joined by macros that
// only concatenate literals, so that the compiler still checks the values against the format. Where a
// conversion does not fit its value's type, a cast at the call says so.
#pragma once

#include "external/ztk_log.h"

namespace ztk {

constexpr int kLogTrace = 0;
constexpr int kLogInfo = 1;
constexpr int kLogNotice = 2;
constexpr int kLogWarning = 3;
constexpr int kLogError = 4;

}  // namespace ztk

/// Format and first three values of a line of the exports and the pools: function, line, module tag.
#define TAGGED_LINE(szFunction, nLine, szText) "[%s@%d]%s " szText, szFunction, nLine, "[ZtkCommon]"

/// Format and first two values of a line of the platform layer, the sweep and CloseShareMemory.
#define PLAIN_LINE(szFunction, nLine, szText) "[%s@%d]" szText, szFunction, nLine
