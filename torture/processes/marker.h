// A page in which a process marks what the library in it is doing, for a parent that is about to kill it.
//
// The library's calls of the C library go through this program (marked_calls.cpp), and each says in the page
// what begins. A mark is one store: it costs no system call and survives the process.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace ztk::torture {

enum class Phase : int {
    kOutside,  ///< in the program, or in no call below
    kInCall,   ///< in an export, between the calls below: lists, index, log
    kScan,     ///< the sweep: reading the directory, judging owners
    kRemove,   ///< the sweep: opening, unlinking, closing a stale object
    kCreate,   ///< shm_open() with O_CREAT
    kSize,     ///< ftruncate()
    kReserve,  ///< fallocate()
    kHeader,   ///< writing the header through its own small mapping
    kCheck,    ///< reading it again
    kMap,      ///< mmap() of the whole
    kClear,    ///< mapping and clearing its pages
    kUnmap,    ///< munmap() of the whole
    kUnlink,   ///< shm_unlink()
    kClose,    ///< close(), the last of a segment
    kCount
};

enum class Stage : int { kLoad, kUse, kUnload, kCount };

constexpr std::size_t kMarkedThreads = 2;
constexpr auto kPhases = static_cast<std::size_t>(Phase::kCount);

struct Marker {
    std::array<std::atomic<std::uint64_t>, kPhases> marks;  ///< so far, of all threads
    std::array<std::atomic<Phase>, kMarkedThreads> phases;
    std::atomic<Stage> enStage;
    std::atomic<bool> bEnded;  ///< the victim has come to its end by itself

    /// Where the victim is to meet its end: at mark number nTarget of this phase (0: at none). It kills
    /// itself there, or says that it is there and goes on.
    std::atomic<Phase> enTarget;
    std::atomic<std::uint64_t> nTarget;
    std::atomic<bool> bKillsItself;
    std::atomic<bool> bReached;
};

const char* NameOf(Phase enPhase);

/// A page that this process shares with the children it forks from now on.
Marker* MakeMarker();
void ResetMarker(Marker* pMarker);

/// From now on this process marks.
void MarkIn(Marker* pMarker);
/// Which of the page's places is this thread's; the first if it never says.
void TakePlace(std::size_t nPlace);
/// Marks for the calling thread. Does nothing in a process without a page.
void Mark(Phase enPhase);
Phase LastMark();

}  // namespace ztk::torture
