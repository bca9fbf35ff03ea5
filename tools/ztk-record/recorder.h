// Where each call of the recorded process goes: into its thread's chunk of the file.
#pragma once

#include <cstdint>

#include "recording_file.h"
#include "ticks.h"

namespace ztk_record {

/// A thread's place in the file.
struct Local {
    Chunk* pChunk;
    std::uint32_t nCount;
    std::uint32_t nThread;
    std::uint32_t nGeneration;
    std::uint8_t nNoted;  ///< flags that log lines of the call that runs have told
    bool bBusy;           ///< in here already: what comes now is our own doing
};

// Not thread_local, whose accesses from other files go through a function.
extern __thread Local g_local __attribute__((tls_model("initial-exec")));

/// In memory that is zero in a forked child: a number per process that records.
extern const volatile std::uint32_t* g_pGeneration;

/// Makes the recording's file at the first call of a process; false if there is none.
bool Start();
inline bool IsReady() {
    return (g_local.nGeneration == *g_pGeneration && g_local.nGeneration != 0) || Start();
}

bool HasStacks();
RecordingFile& File();

/// Writes a line of text that tells what a site is.
void WriteText(const char* szLine);

/// Room for one record, or null.
Record* NextRecordSlow();
inline Record* NextRecord() {
    Local& local = g_local;
    if (local.pChunk == nullptr || local.nCount == kRecordsPerChunk) return NextRecordSlow();
    return &local.pChunk->records[local.nCount];
}
inline void Publish() {
    Local& local = g_local;
    // whoever reads the file of a killed process finds whole records only
    __atomic_store_n(&local.pChunk->header.nCount, ++local.nCount, __ATOMIC_RELEASE);
}

/// Writes something that the library did, at this moment.
void WriteDeed(Operation enOperation, std::uint64_t nAddress);

}  // namespace ztk_record
