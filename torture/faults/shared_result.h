// What a run found, in memory that it shares with the program that started it: a run may end by a signal at
// any moment.
#pragma once

#include <string>
#include <vector>

#include "torture/faults/fault_plan.h"

namespace ztk::torture {

/// To be called once, before the first run; and before each run.
void MakeSharedResult();
void ClearSharedResult();

void RecordCall(const Point& point, bool bFailed);
std::vector<RecordedCall> RecordedCalls();

/// Adds a line about the run; cut when too much.
void NoteResult(const std::string& line);
std::vector<std::string> ResultLines();

/// Adds a log line of the thread with that role, while log lines are kept.
void KeepLogLines(bool bKept);
void NoteLogLine(int nRole, const char* szLine);
std::vector<std::string> LogLinesOf(int nRole);

/// The run has come to its end: nothing cut it short.
void NoteEnd();
bool HasEnded();

/// The thread of this role ended the run before its time.
void NoteEnder(int nRole);
constexpr int kNobody = -1;
int Ender();

}  // namespace ztk::torture
