// Marks of the demo in the library's log. The library writes a line when it takes memory from the system
// or returns it, but none when a block changes hands: a reuse and a release leave no address behind. So
// the demo says which addresses it holds. At trace level only; at higher levels nothing is written.
#pragma once

#include "external/ztk_log.h"

namespace demo {

constexpr int kTraceLevel = 0;

inline void MarkHeld(const void* pBlock) {
    ZTK_LOG_WriteLog(kTraceLevel, "[demo]held %p", pBlock);
}
inline void MarkGivenBack(const void* pBlock) {
    ZTK_LOG_WriteLog(kTraceLevel, "[demo]given back %p", pBlock);
}

/// Names what happens from here on; shown in the plot.
inline void MarkPhase(const char* szPhase) {
    ZTK_LOG_WriteLog(kTraceLevel, "[demo]phase %s", szPhase);
}

}  // namespace demo
