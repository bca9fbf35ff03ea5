#include "torture/model/board.h"

#include <sys/mman.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>
#include <utility>

#include "external/rockit.h"
#include "external/ztk_log.h"
#include "support/interception.h"

extern "C" {
void* __real_mmap(void* pHint, std::size_t nLen, int nProtection, int nFlags, int hFile, off_t nOffset);
int __real_munmap(void* pAddr, std::size_t nLen);
}

namespace ztk::torture {
namespace {

constexpr std::uint64_t kPage = 4096;
constexpr std::uint64_t kHandleStep = 0x10'0000'0000;  // so that handle plus offset is no other's handle

/// Only the callers' thread asks for blocks, and the local reclaimer gives them back while it waits.
struct Board {
    std::unordered_map<std::uint64_t, BoardBlock> byHandle;
    std::unordered_map<std::uint64_t, std::uint64_t> handles;  // by address
    std::uint64_t nCapacity = std::uint64_t{1} << 30U;
    std::uint64_t nUsed = 0;
    std::uint64_t nLastHandle = 0;
    BoardBlock newest{};
};

Board& TheBoard() {
    static auto* pBoard = new Board;  // the pools end after everything else
    return *pBoard;
}

std::uint64_t WholePages(std::uint32_t nLength) {
    return (nLength + kPage - 1) / kPage * kPage;
}

struct Log {
    std::array<std::vector<std::string>, 3> lines;
    std::atomic<int> nLevel{0};
};

Log& TheLog() {
    static auto* pLog = new Log;
    return *pLog;
}

thread_local Writer t_writer = Writer::kCallers;

/// A reclaimer's first line tells which it is.
void NoteWriter(const char* szFunction) {
    if (std::strcmp(szFunction, "FreeUnbusyMemoryThread") == 0) t_writer = Writer::kLocalReclaimer;
    if (std::strcmp(szFunction, "FreeUnbusySharedMemoryThread") == 0) t_writer = Writer::kSharedReclaimer;
}

std::vector<std::string>& LinesOf(Writer writer) {
    return TheLog().lines.at(static_cast<std::size_t>(writer));
}

}  // namespace

void SetMmzCapacity(std::uint64_t nBytes) {
    TheBoard().nCapacity = nBytes;
}
std::uint64_t FreeMmzBytes() {
    const Board& board = TheBoard();
    return board.nUsed >= board.nCapacity ? 0 : board.nCapacity - board.nUsed;
}
std::size_t CountMmzBlocks() {
    return TheBoard().byHandle.size();
}
const BoardBlock& NewestMmzBlock() {
    return TheBoard().newest;
}

std::vector<std::string> TakeLines(Writer writer) {
    return std::exchange(LinesOf(writer), {});
}
void SetLogLevel(int nLevel) {
    TheLog().nLevel = nLevel;
}
int LogLevel() {
    return TheLog().nLevel;
}

}  // namespace ztk::torture

using ztk::torture::TheBoard;

extern "C" {

int32_t RK_MPI_MMZ_Alloc(MB_BLK* pBlk, uint32_t u32Length, uint32_t u32Flags) {
    const ztk::test::OwnAllocations ours;
    auto& board = TheBoard();
    if (u32Flags != 0 || u32Length > ztk::torture::FreeMmzBytes()) return -1;
    void* pMemory = __real_mmap(nullptr, ztk::torture::WholePages(u32Length), PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (pMemory == MAP_FAILED) std::abort();
    board.nLastHandle += ztk::torture::kHandleStep;
    board.newest = {board.nLastHandle, reinterpret_cast<std::uintptr_t>(pMemory), u32Length};
    board.byHandle[board.nLastHandle] = board.newest;
    board.handles[board.newest.nAddress] = board.nLastHandle;
    board.nUsed += u32Length;
    *pBlk = reinterpret_cast<MB_BLK>(board.nLastHandle);
    return 0;
}

void* RK_MPI_MMZ_Handle2VirAddr(MB_BLK blk) {
    const auto it = TheBoard().byHandle.find(reinterpret_cast<std::uintptr_t>(blk));
    return it == TheBoard().byHandle.end() ? nullptr : reinterpret_cast<void*>(it->second.nAddress);
}

MB_BLK RK_MPI_MMZ_VirAddr2Handle(void* pVirAddr) {
    const auto it = TheBoard().handles.find(reinterpret_cast<std::uintptr_t>(pVirAddr));
    return it == TheBoard().handles.end() ? nullptr : reinterpret_cast<MB_BLK>(it->second);
}

int32_t RK_MPI_MMZ_Free(MB_BLK blk) {
    const ztk::test::OwnAllocations ours;
    auto& board = TheBoard();
    const auto it = board.byHandle.find(reinterpret_cast<std::uintptr_t>(blk));
    if (it == board.byHandle.end()) std::abort();
    __real_munmap(reinterpret_cast<void*>(it->second.nAddress), ztk::torture::WholePages(it->second.nLength));
    board.nUsed -= it->second.nLength;
    board.handles.erase(it->second.nAddress);
    board.byHandle.erase(it);
    return 0;
}

void ZTK_LOG_WriteLog(int level, const char* format, ...) {
    const ztk::test::OwnAllocations ours;
    char szLine[65536];
    const int nLevel = std::snprintf(szLine, sizeof(szLine), "%d ", level);
    va_list values;
    va_start(values, format);
    static_cast<void>(
        std::vsnprintf(szLine + nLevel, sizeof(szLine) - static_cast<std::size_t>(nLevel), format, values));
    va_end(values);
    va_start(values, format);
    ztk::torture::NoteWriter(va_arg(values, const char*));
    va_end(values);
    ztk::torture::LinesOf(ztk::torture::t_writer).emplace_back(szLine);
}

int ZTK_LOG_GetLogLevel(void) {
    return ztk::torture::TheLog().nLevel;
}

}  // extern "C"
