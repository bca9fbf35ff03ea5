// The three kinds of pooled memory, made alike for the tests of what they have in common: how to ask for a
// block and give it back, how to make the system refuse one, and what each kind writes to the log.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <ostream>
#include <string>

#include "fakes/fake_rockit.h"
#include "log_texts.h"
#include "pool/local_memory_pool.h"
#include "pool/shared_memory_pool.h"
#include "support/private_shm.h"
#include "support/system_calls.h"

namespace ztk::test {

/// What an allocation gave; as it is here if it gave nothing.
struct Given {
    std::uint64_t nAddress = 0xDEAD;
    std::uint64_t nHandle = 0xBEEF;
    char szName[ZTK_SHARED_NAME_SIZE] = "untouched";
};

inline bool operator==(const Given& a, const Given& b) {
    return a.nAddress == b.nAddress && a.nHandle == b.nHandle && std::string(a.szName) == b.szName;
}

inline void PrintTo(const Given& given, std::ostream* pStream) {
    *pStream << Hex(given.nAddress) << " handle " << Hex(given.nHandle) << " name " << given.szName;
}

template <std::int32_t kMemType>
struct LocalKind {
    using Pool = LocalMemoryPool;

    static constexpr const char* kThreadFunction = "FreeUnbusyMemoryThread";
    static constexpr const char* kThreadText = "Free unbusy memory thread, tid=";
    static constexpr int kThreadLine = 17;
    static constexpr int kEventLine = 45;
    static constexpr int kThreadFailedLine = 52;
    static constexpr int kJoinLine = 72;
    static constexpr std::size_t kLinesOfADump = 4;
    /// operator new in the constructor before the exit event's.
    static constexpr int kNewsBeforeEvent = 0;

    static Status Allocate(Pool& pool, std::uint64_t nSize, std::int32_t nAlign, Given& given) {
        void* pAddr = reinterpret_cast<void*>(given.nAddress);
        const Status nStatus = pool.AllocateMemory(nSize, nAlign, kMemType, &pAddr, &given.nHandle);
        given.nAddress = reinterpret_cast<std::uintptr_t>(pAddr);
        return nStatus;
    }
    static Status Release(Pool& pool, std::uint64_t nAddress) {
        return pool.ReleaseMemory(reinterpret_cast<void*>(nAddress));
    }

    static std::string Retry() {
        return Tagged(4, "AllocateMemory", 142,
                      "Insufficient memory, free all unbusy block(s) and try again");
    }
    static std::string Failed(std::uint64_t nSize, std::int32_t nAlign) {
        return Tagged(4, "AllocateMemory", 155,
                      "Allocate memory failed, size=" + std::to_string(nSize) +
                          ", align=" + std::to_string(nAlign) + ", plat=" + std::to_string(kMemType));
    }
    static std::string Allocated(std::uint64_t nAddress, std::uint64_t nSize) {
        return Tagged(1, "AllocateMemory", 160,
                      "Allocate system memory addr=" + Hex(nAddress) + ", size=" + std::to_string(nSize));
    }
    static std::string UnknownAddress() {
        return Tagged(4, "ReleaseMemory", 224, "Memory pointer is not corrected, may be corrupted!");
    }
    static std::string Freed(std::uint64_t nAddress, std::uint64_t nSize) {
        return Tagged(1, "FreeUnbusyMemory", 373,
                      "Free system memory addr=" + Hex(nAddress) + ", size=" + std::to_string(nSize));
    }
    static std::string Limit(std::uint64_t nRedundantSize) {
        return Tagged(1, "DoFreeUnbusyMemoryWork", 318,
                      "Current redundant memory size: " + std::to_string(nRedundantSize) +
                          " bytes, allow limit size: 314572800 bytes");
    }
};

/// Blocks of the C heap.
struct HeapKind : LocalKind<0> {
    static constexpr bool kSurvivesFork = true;

    /// The @p nOccurrence-th block from now on (0: every one) cannot be had.
    static void FailMaking(int nOccurrence) { SystemCalls::Fail("malloc", nOccurrence, ENOMEM); }
    static void LetMakingSucceed() { SystemCalls::Reset(); }
    /// What the layers below write of such a failure.
    static std::string MakingFailed(std::uint64_t nSize, std::int32_t nAlign) {
        if (nAlign <= 0) return Plain(4, "Malloc_OS", 133, "malloc Failed, size = " + std::to_string(nSize));
        const std::uint64_t nTotal = nSize + static_cast<std::uint64_t>(nAlign) + 8;
        return Plain(4, "AlignMalloc_OS", 466, "malloc Failed, size = " + std::to_string(nTotal));
    }
    static int TimesAsked() { return SystemCalls::Count("malloc"); }
    static int TimesGivenBack() { return SystemCalls::Count("free"); }
};

/// Blocks of media memory.
struct MmzKind : LocalKind<1> {
    static constexpr bool kSurvivesFork = false;

    static void FailMaking(int nOccurrence) { FakeRockit::FailAlloc(nOccurrence, -5); }
    static void LetMakingSucceed() { FakeRockit::FailAlloc(-1, 0); }
    static std::string MakingFailed(std::uint64_t nSize, std::int32_t nAlign) {
        const std::string text = "RK_MPI_MMZ_Alloc failed, nRet = -5, size = ";
        if (nAlign <= 0) return Plain(4, "Malloc_MMZ_Q527", 162, text + std::to_string(nSize));
        const std::uint64_t nTotal = nSize + static_cast<std::uint64_t>(nAlign) + 8;
        return Plain(4, "AlignMalloc_MMZ_Q527", 514, text + std::to_string(nTotal));
    }
    static int TimesAsked() { return CallsOf("Alloc "); }
    static int TimesGivenBack() { return CallsOf("Free "); }

  private:
    static int CallsOf(const std::string& start) {
        int nCalls = 0;
        for (const std::string& call : FakeRockit::Calls())
            nCalls += call.compare(0, start.size(), start) == 0 ? 1 : 0;
        return nCalls;
    }
};

/// Named segments.
struct SharedKind {
    using Pool = SharedMemoryPool;

    static constexpr const char* kThreadFunction = "FreeUnbusySharedMemoryThread";
    static constexpr const char* kThreadText = "Free unbusy shared memory thread, tid=";
    static constexpr int kThreadLine = 25;
    static constexpr int kEventLine = 57;
    static constexpr int kThreadFailedLine = 64;
    static constexpr int kJoinLine = 85;
    static constexpr std::size_t kLinesOfADump = 2;
    static constexpr int kNewsBeforeEvent = 1;  // the handle of the sweep's directory scan
    static constexpr bool kSurvivesFork = false;

    static Status Allocate(Pool& pool, std::uint64_t nSize, std::int32_t nAlign, Given& given) {
        return pool.AllocateMemory(nSize, nAlign, &given.nAddress, given.szName);
    }
    static Status Release(Pool& pool, std::uint64_t nAddress) { return pool.ReleaseMemory(nAddress); }

    static void FailMaking(int nOccurrence) { SystemCalls::Fail("shm_open", nOccurrence, EMFILE); }
    static void LetMakingSucceed() { SystemCalls::Reset(); }
    static std::string MakingFailed(std::uint64_t nSize, std::int32_t nAlign) {
        const std::string text = "Create file mapping failed, name=ZTKTool-" + std::to_string(getpid()) +
                                 "-*, size=" + std::to_string(nSize) + ", sys error=";
        if (nAlign <= 0) return Tagged(4, "CreateSharedMemory", 455, text + "0x80100009");
        return Tagged(4, "CreateAlignedSharedMemory", 526, text + "-2146435063");
    }
    static int TimesAsked() { return SystemCalls::Count("shm_open"); }
    static int TimesGivenBack() { return SystemCalls::Count("shm_unlink"); }

    static std::string Retry() {
        return Tagged(4, "AllocateMemory", 161,
                      "Insufficient shared memory, free all unbusy block(s) and try again");
    }
    static std::string Failed(std::uint64_t nSize, std::int32_t nAlign) {
        return Tagged(4, "AllocateMemory", 176,
                      "Allocate shared memory failed, nErrCode=0x80100009, size=" + std::to_string(nSize) +
                          ", align=" + std::to_string(nAlign));
    }
    static std::string Allocated(std::uint64_t nAddress, std::uint64_t nSize) {
        return Tagged(1, "AllocateMemory", 180,
                      "Allocate shared memory addr=" + Hex(nAddress) + ", size=" + std::to_string(nSize));
    }
    static std::string UnknownAddress() {
        return Tagged(4, "ReleaseMemory", 238, "Memory pointer is not corrected, may be corrupted!");
    }
    static std::string Freed(std::uint64_t nAddress, std::uint64_t nSize) {
        return Tagged(1, "FreeUnbusyMemory", 372,
                      "Free shared memory addr=" + Hex(nAddress) + ", size=" + std::to_string(nSize));
    }
    static std::string Limit(std::uint64_t nRedundantSize) {
        return Tagged(1, "DoFreeUnbusyMemoryWork", 321,
                      "Current redundant memory size: " + std::to_string(nRedundantSize) +
                          " bytes, allow limit size: 314572800 bytes");
    }
};

}  // namespace ztk::test
