// The stand-in's exported functions, and what happens when it is loaded, forked and left.
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <limits>

#include "external/rockit.h"
#include "standins/board/board.h"
#include "standins/rockit/block_registry.h"
#include "standins/rockit/capacity_text.h"
#include "standins/rockit/ztk_rockit_standin.h"

#define ZTK_STANDIN_EXPORT extern "C" __attribute__((visibility("default")))

namespace ztk_standin {
namespace {

constexpr std::uint64_t kDefaultCapacity = std::uint64_t{256} << 20U;

std::uint64_t CapacityFromEnvironment() {
    const char* szText = std::getenv("ZTK_ROCKIT_CAPACITY");
    if (szText == nullptr || szText[0] == '\0') return kDefaultCapacity;
    const std::optional<std::uint64_t> nCapacity = ParseCapacity(szText);
    if (nCapacity) return *nCapacity;
    dprintf(STDERR_FILENO,
            "librockit stand-in: ZTK_ROCKIT_CAPACITY=%.100s is not a number of bytes (K, M, G allowed); "
            "using 256M\n",
            szText);
    return kDefaultCapacity;
}

BlockRegistry* MakeRegistry() {
    ztk_board::Board* pBoard = ztk_board::Board::OfEnvironment();
    if (pBoard == nullptr) return new BlockRegistry(CapacityFromEnvironment());
    return new BlockRegistry(std::numeric_limits<std::uint64_t>::max(), pBoard);  // the area is the limit
}

// Never destroyed: other libraries free their blocks while the process exits, in any order.
BlockRegistry& TheRegistry() {
    static auto* const pRegistry = MakeRegistry();
    return *pRegistry;
}

void BeforeFork() {
    TheRegistry().BeforeFork();
}
void AfterForkInParent() {
    TheRegistry().AfterForkInParent();
}
void AfterForkInChild() {
    TheRegistry().AfterForkInChild();
}

// At load, ahead of the libraries that depend on this one: their own fork handlers are then registered later
// and run earlier, so locks are taken in the order in which calls take them.
__attribute__((constructor)) void AtLoad() {
    TheRegistry();
    if (pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild) != 0) {
        dprintf(STDERR_FILENO, "librockit stand-in: no fork handlers; forked children must not use it\n");
    }
}

// A destructor of this library runs after those of the libraries that depend on it: what they still free
// at exit is not reported.
__attribute__((destructor)) void AtExit() {
    TheRegistry().ReportLiveBlocks();
}

}  // namespace
}  // namespace ztk_standin

using ztk_standin::TheRegistry;

ZTK_STANDIN_EXPORT int32_t RK_MPI_MMZ_Alloc(MB_BLK* pBlk, uint32_t u32Length, uint32_t /*u32Flags*/) {
    return TheRegistry().Allocate(u32Length, pBlk);
}

ZTK_STANDIN_EXPORT void* RK_MPI_MMZ_Handle2VirAddr(MB_BLK blk) {
    return TheRegistry().AddressOf(blk);
}

ZTK_STANDIN_EXPORT MB_BLK RK_MPI_MMZ_VirAddr2Handle(void* pVirAddr) {
    return TheRegistry().HandleAt(pVirAddr);
}

ZTK_STANDIN_EXPORT int32_t RK_MPI_MMZ_Free(MB_BLK blk) {
    return TheRegistry().Free(blk);
}

ZTK_STANDIN_EXPORT void ZtkRockitGetCounters(ZtkRockitCounters* pCounters) {
    *pCounters = TheRegistry().Counters();
}

ZTK_STANDIN_EXPORT void ZtkRockitSetCapacity(uint64_t nBytes) {
    TheRegistry().SetCapacity(nBytes);
}
