#include "torture/processes/victim.h"

#include <cstring>
#include <iterator>
#include <random>
#include <thread>

#include "common/ztk_common.h"
#include "tests/library/library.h"

namespace ztk::torture {
namespace {

/// One thread's use of the library.
class Work {
  public:
    Work(const LoadedLibrary& library, std::uint64_t nSeed) : lib_(library), random_(nSeed) {}

    void Run(int nSteps) {
        for (int i = 0; i < nSteps; ++i) {
            Step();
            Mark(Phase::kOutside);
        }
    }

    bool IsContent() const { return bContent_; }

  private:
    std::uint64_t Pick(std::uint64_t nLast) {
        return std::uniform_int_distribution<std::uint64_t>(0, nLast)(random_);
    }

    void Expect(bool bTrue) { bContent_ = bContent_ && bTrue; }

    void Step() {
        Mark(Phase::kInCall);
        switch (Pick(6)) {
            case 0:
                return UseMemory(0, ZTK_MEM_OS);
            case 1:
                return UseMemory(64, ZTK_MEM_MMZ);
            case 2:
                return Flush();
            default:
                return Pick(1) == 0 ? Take() : GiveBack();
        }
    }

    void UseMemory(std::int32_t nAlign, std::int32_t enMemType) {
        void* pAddr = nullptr;
        Expect(lib_.AllocateAlignedPoolMemory(1 + Pick(9999), nAlign, enMemType, &pAddr, nullptr) ==
               ZTK_SUCCESS);
        Expect(lib_.FreePoolMemory(pAddr) == ZTK_SUCCESS);
    }

    /// What cannot be served empties the pool first: idle segments are destroyed.
    void Flush() {
        void* pAddr = nullptr;
        char szName[ZTK_SHARED_NAME_SIZE];
        Expect(lib_.AllocatePoolSharedMemory(UINT64_MAX, &pAddr, szName) == ERR_NO_MEMORY);
    }

    void Take() {
        void*& pBlock = blocks_[Pick(std::size(blocks_) - 1)];
        if (pBlock != nullptr) return;
        const std::uint64_t nSize = 4096 + Pick(60'000);
        char szName[ZTK_SHARED_NAME_SIZE];
        Expect(lib_.AllocatePoolSharedMemory(nSize, &pBlock, szName) == ZTK_SUCCESS);
        Mark(Phase::kOutside);
        if (pBlock != nullptr) {
            std::memset(static_cast<char*>(pBlock) + ZTK_SHARED_HEADER_SIZE, 0x5a,
                        nSize - ZTK_SHARED_HEADER_SIZE);
        }
    }

    void GiveBack() {
        void*& pBlock = blocks_[Pick(std::size(blocks_) - 1)];
        if (pBlock == nullptr) return;
        Expect(lib_.FreePoolSharedMemory(pBlock) == ZTK_SUCCESS);
        pBlock = nullptr;
    }

    const LoadedLibrary& lib_;
    std::mt19937_64 random_;
    void* blocks_[6] = {};
    bool bContent_ = true;
};

bool WorkOnTwoThreads(const LoadedLibrary& library, std::uint64_t nSeed) {
    constexpr int kSteps = 24;
    Work other(library, nSeed + 1);
    std::thread thread([&other] {
        TakePlace(1);
        other.Run(kSteps);
    });
    Work work(library, nSeed);
    work.Run(kSteps);
    thread.join();
    return work.IsContent() && other.IsContent();
}

}  // namespace

int RunVictim(Marker* pMarker, std::uint64_t nSeed) {
    MarkIn(pMarker);
    test::Library library;
    pMarker->enStage = Stage::kUse;
    Mark(Phase::kOutside);
    const bool bContent = WorkOnTwoThreads(library, nSeed);
    pMarker->enStage = Stage::kUnload;
    Mark(Phase::kInCall);
    const bool bUnloaded = library.Unload();
    pMarker->bEnded = true;
    return bContent && bUnloaded ? 0 : 1;
}

}  // namespace ztk::torture
