#include "torture/model/lock_step.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstring>

#include "common/shared_exports.h"
#include "common/ztk_common.h"
#include "support/available_memory.h"
#include "support/descriptors.h"
#include "support/private_shm.h"
#include "support/system_calls.h"
#include "torture/model/board.h"
#include "torture/model/comparison.h"
#include "torture/model/time.h"

namespace ztk::torture {
namespace {

using test::Bookkeeping;
using test::SystemCalls;

constexpr char kNoName[] = "untouched";

void PlanShortage(const char* szCall, int nErrno, Shortage shortage) {
    if (shortage == Shortage::kOnce) SystemCalls::Fail(szCall, 1, nErrno);
    if (shortage == Shortage::kTwice) SystemCalls::Fail(szCall, 0, nErrno);
    if (shortage == Shortage::kRecord) Bookkeeping::FailNew(1);
}

/// Returns whether a record was asked for, and could not be had.
bool EndShortage(Shortage shortage) {
    if (shortage == Shortage::kNone) return false;
    if (shortage != Shortage::kRecord) {
        SystemCalls::Reset();
        return false;
    }
    const bool bHit = Bookkeeping::Count() > 0;
    Bookkeeping::FailNew(-1);
    return bHit;
}

}  // namespace

LockStep::LockStep() : nNow_(NowSeconds()) {
    SetMmzCapacity(kMmzCapacity);
    AwaitReclaimers();
    nLocalWakesAt_ = nSharedWakesAt_ = nNow_ + kWakeUpSeconds;
    TakeLines(Writer::kCallers);
    TakeLines(Writer::kLocalReclaimer);
    TakeLines(Writer::kSharedReclaimer);
    nDescriptors_ = test::OpenDescriptors().size();
}

// ---- requests ----------------------------------------------------------------------------------------

LockStep::Answer LockStep::CallLocal(const Request& request, bool bPlainExport, Shortage shortage) {
    void* pBlock = reinterpret_cast<void*>(kUntouched);
    Answer answer{0, 0, kUntouched, "", false};
    PlanShortage("malloc", ENOMEM, shortage);
    answer.nStatus = bPlainExport
                         ? AllocatePoolMemory(request.nSize, request.enMemType, &pBlock, &answer.nHandle)
                         : AllocateAlignedPoolMemory(request.nSize, request.nAlign, request.enMemType,
                                                     &pBlock, &answer.nHandle);
    answer.bNoRecord = EndShortage(shortage);
    answer.nAddress = reinterpret_cast<std::uintptr_t>(pBlock);
    return answer;
}

LockStep::Answer LockStep::CallShared(const Request& request, Shortage shortage) {
    void* pBlock = reinterpret_cast<void*>(kUntouched);
    char szName[ZTK_SHARED_NAME_SIZE];
    std::strcpy(szName, kNoName);
    Answer answer{0, 0, 0, "", false};
    PlanShortage("shm_open", EMFILE, shortage);
    answer.nStatus = request.nAlign == 0
                         ? AllocatePoolSharedMemory(request.nSize, &pBlock, szName)
                         : AllocateAlignedPoolSharedMemory(request.nSize, request.nAlign, &pBlock, szName);
    answer.bNoRecord = EndShortage(shortage);
    answer.nAddress = reinterpret_cast<std::uintptr_t>(pBlock);
    answer.name = szName;
    return answer;
}

std::uint64_t LockStep::Allocate(std::uint64_t nSize, std::int32_t nAlign, std::int32_t enMemType,
                                 bool bPlainExport, Shortage shortage) {
    const Request request{nSize, bPlainExport ? 0 : nAlign, enMemType};
    const Answer answer = CallLocal(request, bPlainExport, shortage);
    const LogText wrote = TakeLines(Writer::kCallers);
    LogText lines{bPlainExport
                      ? ZTK_MODEL_TAGGED(0, "AllocatePoolMemory", 72) "AllocatePoolMemory()"
                      : ZTK_MODEL_TAGGED(0, "AllocateAlignedPoolMemory", 45) "AllocateAlignedPoolMemory()"};
    const std::uint64_t nGiven = Follow(local_, request, answer, shortage, wrote, lines);
    lines.push_back(
        bPlainExport
            ? Text(ZTK_MODEL_TAGGED(0, "AllocatePoolMemory",
                                    74) "Allocate memory return %#x, nSize = %lu, enMemType=%d",
                   answer.nStatus, nSize, enMemType)
            : Text(ZTK_MODEL_TAGGED(
                       0, "AllocateAlignedPoolMemory",
                       47) "Allocate align memory return %#x, nSize = %lu, nAlign = %d, enMemType=%d",
                   answer.nStatus, nSize, nAlign, enMemType));
    CompareLines("allocate", lines, wrote);
    return nGiven;
}

std::uint64_t LockStep::AllocateShared(std::uint64_t nSize, std::int32_t nAlign, Shortage shortage) {
    const Request request{nSize, nAlign, 0};
    const Answer answer = CallShared(request, shortage);
    const LogText wrote = TakeLines(Writer::kCallers);
    LogText lines;
    const std::uint64_t nGiven = Follow(shared_, request, answer, shortage, wrote, lines);
    CompareLines("allocate shared", lines, wrote);
    return nGiven;
}

std::uint64_t LockStep::Follow(ModelPool& pool, const Request& request, const Answer& answer,
                               Shortage shortage, const LogText& wrote, LogText& lines) {
    const bool bShared = &pool == &shared_;
    const auto fail = [&] {
        lines.push_back(
            bShared ? Text(ZTK_MODEL_TAGGED(
                               4, "AllocateMemory",
                               176) "Allocate shared memory failed, nErrCode=0x80100009, size=%lu, align=%d",
                           request.nSize, request.nAlign)
                    : Text(ZTK_MODEL_TAGGED(4, "AllocateMemory",
                                            155) "Allocate memory failed, size=%lu, align=%d, plat=%d",
                           request.nSize, request.nAlign, request.enMemType));
        CompareNumbers<std::uint32_t>("status", 0x80100009, answer.nStatus);
        CompareNumbers("output of a failed request", kUntouched, answer.nAddress);
        Check(bShared ? answer.name == kNoName : answer.nHandle == kUntouched,
              "second output of a failed request");
        return std::uint64_t{0};
    };
    if (answer.bNoRecord) return fail();
    const std::vector<ModelBlock*> fitting = pool.Fitting(request.nSize, request.nAlign, request.enMemType);
    if (!fitting.empty()) {
        FollowReuse(pool, fitting, answer);
        return answer.nAddress;
    }
    const auto attempt = [&](bool bFails) {
        Attempt tried = bShared ? TryShared(request, answer, bFails) : TryLocal(request, bFails);
        lines.insert(lines.end(), tried.lines.begin(), tried.lines.end());
        return tried.bSucceeds;
    };
    if (!attempt(shortage == Shortage::kOnce || shortage == Shortage::kTwice)) {
        lines.emplace_back(
            bShared
                ? ZTK_MODEL_TAGGED(4, "AllocateMemory",
                                   161) "Insufficient shared memory, free all unbusy block(s) and try again"
                : ZTK_MODEL_TAGGED(4, "AllocateMemory",
                                   142) "Insufficient memory, free all unbusy block(s) and try again");
        pool.FreeIdle(0, nNow_, wrote, lines);
        if (!attempt(shortage == Shortage::kTwice)) return fail();
    }
    FollowNew(pool, request, answer, lines);
    return answer.nAddress;
}

void LockStep::FollowReuse(ModelPool& pool, const std::vector<ModelBlock*>& fitting, const Answer& answer) {
    const bool bShared = &pool == &shared_;
    CompareNumbers<std::uint32_t>("status of a reuse", 0, answer.nStatus);
    const auto it = std::find_if(fitting.begin(), fitting.end(),
                                 [&answer](const ModelBlock* p) { return p->nAddress == answer.nAddress; });
    if (it == fitting.end()) {
        throw Difference(Text("reuse: given 0x%lx, expected 0x%lx (%zu fit)", answer.nAddress,
                              fitting.front()->nAddress, fitting.size()));
    }
    ModelBlock& block = **it;
    Check(bShared ? answer.name == block.name : answer.nHandle == block.nHandle, "name or handle of a reuse");
    CheckTag(block, bShared);
    pool.HandOut(block, nNow_);
    WriteTag(block, bShared);
}

void LockStep::FollowNew(ModelPool& pool, const Request& request, const Answer& answer, LogText& lines) {
    const bool bShared = &pool == &shared_;
    lines.push_back(Text(
        bShared ? ZTK_MODEL_TAGGED(1, "AllocateMemory", 180) "Allocate shared memory addr=0x%lx, size=%lu"
                : ZTK_MODEL_TAGGED(1, "AllocateMemory", 160) "Allocate system memory addr=0x%lx, size=%lu",
        answer.nAddress, request.nSize));
    CompareNumbers<std::uint32_t>("status of a new block", 0, answer.nStatus);
    bShared ? CheckNewShared(request, answer) : CheckNewLocal(request, answer);
    ModelBlock block{answer.nAddress,
                     bShared ? 0 : answer.nHandle,
                     request.nSize,
                     request.nAlign,
                     request.enMemType,
                     true,
                     nNow_,
                     bShared ? answer.name : "",
                     0};
    CheckApart(block, bShared);
    WriteTag(block, bShared);
    pool.Add(block);
}

void LockStep::Release(std::uint64_t nAddress) {
    ModelBlock* pBlock = local_.Find(nAddress);
    const std::uint32_t nStatus = FreePoolMemory(reinterpret_cast<void*>(nAddress));
    CompareNumbers<std::uint32_t>("status of a release", pBlock != nullptr ? 0 : 0x80100006, nStatus);
    if (pBlock != nullptr) local_.TakeBack(*pBlock, nNow_);
    const bool bUnknown = pBlock == nullptr && nAddress != 0;
    CompareLines("release",
                 bUnknown ? LogText{ZTK_MODEL_TAGGED(
                                4, "ReleaseMemory", 224) "Memory pointer is not corrected, may be corrupted!"}
                          : LogText{},
                 TakeLines(Writer::kCallers));
}

void LockStep::ReleaseShared(std::uint64_t nAddress) {
    ModelBlock* pBlock = shared_.Find(nAddress);
    const std::uint32_t nStatus = FreePoolSharedMemory(reinterpret_cast<void*>(nAddress));
    CompareNumbers<std::uint32_t>("status of a shared release", pBlock != nullptr ? 0 : 0x80100006, nStatus);
    if (pBlock != nullptr) shared_.TakeBack(*pBlock, nNow_);
    const bool bUnknown = pBlock == nullptr && nAddress != 0;
    CompareLines("shared release",
                 bUnknown ? LogText{ZTK_MODEL_TAGGED(
                                4, "ReleaseMemory", 238) "Memory pointer is not corrected, may be corrupted!"}
                          : LogText{},
                 TakeLines(Writer::kCallers));
}

void LockStep::RefuseNulls() {
    char szName[ZTK_SHARED_NAME_SIZE];
    std::uint64_t nHandle = 0;
    CompareNumbers<std::uint32_t>("null output", 0x80100006, AllocatePoolMemory(4096, 0, nullptr, &nHandle));
    CompareNumbers<std::uint32_t>("null output", 0x80100006,
                                  AllocateAlignedPoolMemory(4096, 8, 1, nullptr, nullptr));
    CompareNumbers<std::uint32_t>("null output", 0x80100006, AllocatePoolSharedMemory(4096, nullptr, szName));
    CompareLines("null outputs", {}, TakeLines(Writer::kCallers));
}

void LockStep::AskForMemory() const {
    CompareNumbers("available", nAvailable_, GetAvailableOSSize());
    CompareLines("available",
                 {ZTK_MODEL_TAGGED(0, "GetAvailableOSSize", 12) "GetAvailableOSSize()",
                  Text(ZTK_MODEL_TAGGED(0, "GetAvailableOSSize", 14) "Available os size: %lu", nAvailable_)},
                 TakeLines(Writer::kCallers));
    Check(GetAvailableShareOSSize() == 0 && NotifyIncToolCount() == 0 && NotifyDecToolCount() == 0 &&
              ZTKMemMap() == nullptr && ZTKMemUnmap() == -1 && TakeLines(Writer::kCallers).empty(),
          "a fixed answer");
}

void LockStep::UseSettings(std::int32_t nNum) {
    SetImageBufferNodeNum(nNum);
    nNodeNumber_ = nNum > 64 ? 64 : nNum <= 0 ? 1 : nNum;
    CompareNumbers("node number", nNodeNumber_, GetImageBufferNodeNum());
    CompareLines(
        "node number",
        {Text(ZTK_MODEL_TAGGED(2, "SetImageBufferNodeNum", 145) "SetImageBufferNodeNum(nNum=%d)", nNum),
         ZTK_MODEL_TAGGED(0, "GetImageBufferNodeNum", 153) "GetImageBufferNodeNum()",
         Text(ZTK_MODEL_TAGGED(0, "GetImageBufferNodeNum", 157) "image buffer node number: %d",
              nNodeNumber_)},
        TakeLines(Writer::kCallers));
}

}  // namespace ztk::torture
