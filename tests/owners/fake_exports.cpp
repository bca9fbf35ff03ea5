#include "tests/owners/fake_exports.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <utility>

#include "common/ztk_common.h"

namespace ztk::test {
namespace {

constexpr std::size_t kLargest = 1U << 20U;  // what is asked for beyond that is not touched

std::vector<std::string> g_calls;
std::map<void*, int> g_blocks;
int g_nMade = 0;
std::uint32_t g_nNextStatus = ZTK_SUCCESS;

std::uint32_t Hand(std::string call, std::uint64_t nSize, std::size_t nAlign, void** ppAddr) {
    g_calls.push_back(std::move(call));
    if (g_nNextStatus != ZTK_SUCCESS) return std::exchange(g_nNextStatus, ZTK_SUCCESS);
    const std::size_t nBytes = nSize < kLargest ? static_cast<std::size_t>(nSize) : kLargest;
    void* pBlock = std::aligned_alloc(nAlign, (nBytes + nAlign - 1) / nAlign * nAlign);
    g_blocks[pBlock] = ++g_nMade;
    *ppAddr = pBlock;
    return ZTK_SUCCESS;
}

std::uint32_t TakeBack(const std::string& what, void* pAddr) {
    const auto entry = g_blocks.find(pAddr);
    if (entry == g_blocks.end()) {
        g_calls.push_back(what + " ?");
        return ERR_INVALID_PARAM;
    }
    g_calls.push_back(what + " " + std::to_string(entry->second));
    g_blocks.erase(entry);
    std::free(pAddr);
    return ZTK_SUCCESS;
}

std::string KindOf(std::int32_t enMemType) {
    return enMemType == ZTK_MEM_OS ? "heap " : "mmz ";
}

}  // namespace

std::vector<std::string> TakeCalls() {
    return std::exchange(g_calls, {});
}

void FailNext(std::uint32_t nStatus) {
    g_nNextStatus = nStatus;
}

int LiveBlocks() {
    return static_cast<int>(g_blocks.size());
}

}  // namespace ztk::test

uint32_t AllocatePoolMemory(uint64_t nSize, int32_t enMemType, void** ppAddr, uint64_t* pHandle) {
    const std::uint32_t nStatus =
        ztk::test::Hand(ztk::test::KindOf(enMemType) + std::to_string(nSize), nSize, 16, ppAddr);
    if (nStatus == ZTK_SUCCESS && pHandle != nullptr) *pHandle = enMemType == ZTK_MEM_OS ? 0 : 77;
    return nStatus;
}

uint32_t AllocateAlignedPoolMemory(uint64_t nSize, int32_t nAlign, int32_t enMemType, void** ppAddr,
                                   uint64_t* pHandle) {
    const std::string call =
        ztk::test::KindOf(enMemType) + std::to_string(nSize) + " align " + std::to_string(nAlign);
    const std::uint32_t nStatus = ztk::test::Hand(call, nSize, static_cast<std::size_t>(nAlign), ppAddr);
    if (nStatus == ZTK_SUCCESS && pHandle != nullptr) *pHandle = enMemType == ZTK_MEM_OS ? 0 : 78;
    return nStatus;
}

uint32_t FreePoolMemory(void* pAddr) {
    return ztk::test::TakeBack("free", pAddr);
}

uint32_t AllocatePoolSharedMemory(uint64_t nSize, void** ppAddr, char* szName) {
    const std::uint32_t nStatus = ztk::test::Hand("shared " + std::to_string(nSize), nSize, 16, ppAddr);
    if (nStatus == ZTK_SUCCESS) {
        static_cast<void>(std::snprintf(szName, ZTK_SHARED_NAME_SIZE, "name-%d", ztk::test::g_nMade));
    }
    return nStatus;
}

uint32_t FreePoolSharedMemory(void* pAddr) {
    return ztk::test::TakeBack("free shared", pAddr);
}
