// The file that a recorded process leaves: written in place, so that whatever ends the process, all is there.
//
// A header, then chunks of one size. A chunk holds records of calls, each at one time of one thread, or lines
// of text that tell what call sites are. Whoever writes a chunk counts up what is valid in it; chunks are
// added by counting up the header. Numbers are as the machine has them: little-endian.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ztk_record {

constexpr char kMagic[8] = {'Z', 'T', 'K', 'R', 'E', 'C', '0', '1'};

constexpr std::uint32_t kHasStacks = 1;      ///< sites are call stacks, not only callers
constexpr std::uint32_t kEnded = 2;          ///< the process came to its exit
constexpr std::uint32_t kSawLog = 4;         ///< new blocks and those given back are known from log lines
constexpr std::uint32_t kForked = 8;         ///< begins with what the parent had
constexpr std::uint32_t kStopped = 16;       ///< the file could not grow: the rest is missing
constexpr std::uint32_t kSitesMissing = 32;  ///< more sites than there is room for

struct FileHeader {
    char magic[8];
    std::uint32_t nHeaderSize;
    std::uint32_t nChunkSize;
    std::uint32_t nRecordSize;
    std::uint32_t nChunks;
    std::uint32_t nFlags;
    std::uint32_t nProcess;
    std::uint32_t nParent;  ///< of a forked one
    std::uint32_t nReserved;
    std::uint64_t nStartTicks;  ///< of the processor's counter, at nStartNs
    std::uint64_t nStartNs;     ///< of the monotonic clock
    std::uint64_t nStartEpochNs;
    std::uint64_t nTicksPerSecond;  ///< measured at the start
    std::uint64_t nLateTicks;       ///< at nLateNs; renewed with each chunk: a longer base to measure on
    std::uint64_t nLateNs;
    char szProgram[256];
};

enum class ChunkKind : std::uint32_t {
    kOpen = 1,    ///< records; is filled again and again
    kClosed = 2,  ///< a full copy of such a one
    kText = 3,    ///< lines that tell what call sites are
};

struct ChunkHeader {
    ChunkKind enKind;
    std::uint32_t nCount;    ///< valid records, or bytes of text
    std::uint32_t nPlace;    ///< of records: the number of the open chunk
    std::uint32_t nFilling;  ///< how often it had been full before. One that was killed between writing the
                             ///< copy and beginning anew has both
    std::uint64_t nReserved[6];
};

enum class Operation : std::uint8_t {
    kAllocate = 1,
    kAllocateAligned = 2,
    kAllocateShared = 3,
    kRelease = 4,
    kReleaseShared = 5,
    kGiveBack = 6,  ///< from here on not calls, but what the library did
    kGiveBackShared = 7,
    kUnload = 8,
};

constexpr std::uint8_t kNewBlock = 1;  ///< made for this request
constexpr std::uint8_t kRetried = 2;   ///< after all idle blocks were given back
constexpr std::uint8_t kNoOutput = 4;  ///< null where the address was to go

/// Releases bear the time before the call, all others the time after it: so the order of times is one in
/// which a block is released before it is handed out again.
struct Record {
    std::uint64_t nTicks;
    std::uint64_t nAddress;
    std::uint64_t nSize;
    std::uint32_t nDuration;  ///< ticks in the call, at most 2^32 - 1
    std::uint32_t nSite;      ///< 0: none
    std::uint32_t nThread;
    std::int32_t nAlign;
    std::int32_t enMemType;
    std::uint16_t nStatus;  ///< PackStatus()
    Operation enOperation;
    std::uint8_t nFlags;
};

constexpr std::uint32_t kHeaderSize = 4096;
constexpr std::uint32_t kChunkSize = 65536;
constexpr std::size_t kRecordsPerChunk = (kChunkSize - sizeof(ChunkHeader)) / sizeof(Record);
constexpr std::size_t kTextPerChunk = kChunkSize - sizeof(ChunkHeader);

static_assert(sizeof(FileHeader) <= kHeaderSize && sizeof(ChunkHeader) == 64 && sizeof(Record) == 48,
              "the file's layout");

/// All statuses of the library but success begin alike.
constexpr std::uint32_t kStatusBase = 0x80100000;
constexpr std::uint16_t kOtherStatus = 0xffff;

constexpr std::uint16_t PackStatus(std::uint32_t nStatus) {
    if (nStatus == 0) return 0;
    return (nStatus & 0xffff0000U) == kStatusBase && (nStatus & 0xffffU) != 0
               ? static_cast<std::uint16_t>(nStatus)
               : kOtherStatus;
}
constexpr std::uint32_t UnpackStatus(std::uint16_t nPacked) {
    return nPacked == 0 ? 0 : kStatusBase | nPacked;
}

// The lines of text, fields divided by tabs:
//   M  <module>  <path>                              a program or library
//   S  <site>  <module>:<address>:<symbol> ...       a call site; addresses as in the module's file, in
//   hexadecimal,
//                                                    of the instruction after the call; symbol: the nearest
//                                                    that the module exports, or nothing

}  // namespace ztk_record
