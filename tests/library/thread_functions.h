// Calls of the loaded library that a test lets fail, or whose order it looks at: the program's own
// pthread_create(), pthread_join() and shm_unlink() take the place of the C library's.
#pragma once

#include <string>
#include <vector>

namespace ztk::test {

/// From now on the @p nOccurrence-th thread creation fails with @p nError; 0: every one.
void FailThreadCreation(int nOccurrence, int nError);

/// No failures any more.
void LetThreadsBeCreated();

/// What the threads whose creation was asked for since the last RecordCalls() are to run.
std::vector<void* (*)(void*)> ThreadRoutines();

/// Starts a new list of "join" and "shm_unlink", in the order of the calls.
void RecordCalls();

/// Adds an entry of the test's own.
void AddCall(const std::string& call);

std::vector<std::string> RecordedCalls();

}  // namespace ztk::test
