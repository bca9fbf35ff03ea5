// What an attempt at a new block comes to, and what a new block must be like.
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "torture/model/board.h"
#include "torture/model/comparison.h"
#include "torture/model/lock_step.h"

namespace ztk::torture {
namespace {

constexpr std::uint64_t kReserve = std::uint64_t{350} << 20U;
constexpr std::uint64_t kWord = 8;
constexpr std::uint64_t kHeader = 128;
constexpr std::uint64_t kMostMmz = 0xFFFFFFFF;

std::uint64_t FirstMultiple(std::uint64_t nFrom, std::int32_t nAlign) {
    const auto nDivisor = static_cast<std::uint64_t>(nAlign);
    return (nFrom + nDivisor - 1) / nDivisor * nDivisor;
}

std::uint64_t WordAt(std::uint64_t nAddress) {
    std::uint64_t nWord = 0;
    std::memcpy(&nWord, reinterpret_cast<const void*>(nAddress), kWord);
    return nWord;
}

std::uint64_t TagPlace(const ModelBlock& block, bool bShared) {
    return block.nAddress + (bShared && block.nAlign <= 0 ? kHeader : 0);
}

struct Extent {
    std::uint64_t nFirst;
    std::uint64_t nBeyond;
};

/// The bytes that belong to a block. An aligned shared one has those of its segment: the alignment takes its
/// room there.
Extent ExtentOf(const ModelBlock& block, bool bShared) {
    const std::uint64_t nFirst =
        bShared && block.nAlign > 0 ? WordAt(block.nAddress - kWord) : block.nAddress;
    return {nFirst, nFirst + block.nSize};
}

/// How many bytes from there on are surely the block's.
std::uint64_t RoomForTag(const ModelBlock& block, bool bShared) {
    if (!bShared) return block.nSize;
    if (block.nAlign <= 0) return block.nSize - std::min(block.nSize, kHeader);
    const std::uint64_t nUsed = block.nAddress - WordAt(block.nAddress - kWord);
    return block.nSize > nUsed ? block.nSize - nUsed : 0;
}

}  // namespace

LockStep::Attempt LockStep::TryLocal(const Request& request, bool bFails) const {
    if (request.enMemType == 0) return TryHeap(request, bFails);
    if (request.enMemType == 1) return TryMmz(request);
    return {false, {}};
}

LockStep::Attempt LockStep::TryHeap(const Request& request, bool bFails) const {
    const bool bAligned = request.nAlign > 0;
    if (request.nSize == 0) {
        return {
            false,
            {bAligned ? Text(ZTK_MODEL_PLAIN(4, "AlignMalloc_OS", 447) "size =0, align = %d", request.nAlign)
                      : ZTK_MODEL_PLAIN(4, "Malloc_OS", 112) "size =0"}};
    }
    // sizes are numbers: their sums do not wrap
    const std::uint64_t nMore = bAligned ? static_cast<std::uint64_t>(request.nAlign) + kWord : 0;
    if (nAvailable_ < kReserve + nMore || nAvailable_ - kReserve - nMore < request.nSize) {
        return {
            false,
            {bAligned ? Text(ZTK_MODEL_PLAIN(
                                 4, "AlignMalloc_OS",
                                 458) "Insufficient OS memory, size=%lu, align=%d, available size = %lu",
                             request.nSize, request.nAlign, nAvailable_)
                      : Text(ZTK_MODEL_PLAIN(4, "Malloc_OS",
                                             123) "Insufficient OS memory, size=%lu, available size = %lu",
                             request.nSize, nAvailable_)}};
    }
    if (!bFails) return {true, {}};
    return {false,
            {Text(bAligned ? ZTK_MODEL_PLAIN(4, "AlignMalloc_OS", 466) "malloc Failed, size = %lu"
                           : ZTK_MODEL_PLAIN(4, "Malloc_OS", 133) "malloc Failed, size = %lu",
                  request.nSize + nMore)}};
}

// Free MMZ memory is the board's to tell; it is asked after the library was, so what the library got is
// added.
LockStep::Attempt LockStep::TryMmz(const Request& request) const {
    const bool bAligned = request.nAlign > 0;
    if (request.nSize < 1 || request.nSize > kMostMmz) {
        return {false,
                {bAligned ? Text(ZTK_MODEL_PLAIN(4, "AlignMalloc_MMZ_Q527", 506) "size=%lu, align=%d",
                                 request.nSize, request.nAlign)
                          : Text(ZTK_MODEL_PLAIN(4, "Malloc_MMZ_Q527", 154) "size=%lu", request.nSize)}};
    }
    const std::uint64_t nTotal =
        request.nSize + (bAligned ? static_cast<std::uint64_t>(request.nAlign) + kWord : 0);
    std::uint64_t nUsed = 0;
    for (const ModelBlock& block : local_.Blocks()) {
        if (block.enMemType != 1) continue;
        const std::uint64_t nMore = block.nAlign > 0 ? static_cast<std::uint64_t>(block.nAlign) + kWord : 0;
        nUsed += static_cast<std::uint32_t>(block.nSize + nMore);
    }
    if (nUsed + static_cast<std::uint32_t>(nTotal) <= kMmzCapacity) return {true, {}};
    return {false,
            {Text(bAligned ? ZTK_MODEL_PLAIN(4, "AlignMalloc_MMZ_Q527",
                                             514) "RK_MPI_MMZ_Alloc failed, nRet = -1, size = %lu"
                           : ZTK_MODEL_PLAIN(4, "Malloc_MMZ_Q527",
                                             162) "RK_MPI_MMZ_Alloc failed, nRet = -1, size = %lu",
                  nTotal)}};
}

LockStep::Attempt LockStep::TryShared(const Request& request, const Answer& answer, bool bFails) const {
    const std::string digits(1, kDigits);
    const std::string name =
        answer.nStatus == 0 ? answer.name : "ZTKTool-" + std::to_string(getpid()) + '-' + digits;
    const auto notCreated = [&](std::uint32_t nCode) {
        return request.nAlign > 0
                   ? Text(ZTK_MODEL_TAGGED(4, "CreateAlignedSharedMemory",
                                           526) "Create file mapping failed, name=%s, size=%lu, sys error=%d",
                          name.c_str(), request.nSize, static_cast<std::int32_t>(nCode))
                   : Text(
                         ZTK_MODEL_TAGGED(4, "CreateSharedMemory",
                                          455) "Create file mapping failed, name=%s, size=%lu, sys error=%#x",
                         name.c_str(), request.nSize, nCode);
    };
    const auto created = [&](const std::string& descriptor) {
        return Text(
            ZTK_MODEL_PLAIN(
                1, "CreateMapping_Linux",
                149) "CreateMapping_Linux pName[%s],hOsMapping[0x%s], nMappingLen[%d],enMemType[0] \r\n",
            name.c_str(), descriptor.c_str(), static_cast<std::int32_t>(request.nSize));
    };
    if (nAvailable_ <= kReserve || request.nSize >= nAvailable_ - kReserve)
        return {false, {notCreated(0x80100009)}};
    if (request.nSize < kHeader) return {false, {notCreated(0x80100005)}};
    if (bFails) {
        return {
            false,
            {ZTK_MODEL_PLAIN(4, "CreateMapping_Linux",
                             78) "CreateMapping_Linux ---shm_open hOsMapping[0xffffffff], nErrCode[9] \r\n",
             created("ffffffff"), notCreated(0x80100009)}};
    }
    const std::uint64_t nView = answer.nStatus != 0   ? 0
                                : request.nAlign <= 0 ? answer.nAddress
                                                      : WordAt(answer.nAddress - kWord);
    return {true,
            {created(digits),
             Text(ZTK_MODEL_PLAIN(1, "MapView_Linux",
                                  268) "MapView_Linux hMapping[0x%s], pView[0x%lx],nMappingLen[%d], "
                                       "byMMZ[0], nErrCode[0] \r\n",
                  digits.c_str(), nView, static_cast<std::int32_t>(request.nSize))}};
}

// ---- new blocks --------------------------------------------------------------------------------------

void LockStep::CheckNewLocal(const Request& request, const Answer& answer) const {
    Check(answer.nAddress != 0 && answer.nAddress != kUntouched, "a new block without an address");
    const bool bMmz = request.enMemType == 1;
    const std::uint64_t nBase = bMmz                 ? NewestMmzBlock().nAddress
                                : request.nAlign > 0 ? WordAt(answer.nAddress - kWord)
                                                     : answer.nAddress;
    const std::uint64_t nPlace = request.nAlign > 0 ? FirstMultiple(nBase + kWord, request.nAlign) : nBase;
    CompareNumbers("place in its block", nPlace, answer.nAddress);
    if (request.nAlign > 0) CompareNumbers("word below", nBase, WordAt(answer.nAddress - kWord));
    CompareNumbers("handle", bMmz ? NewestMmzBlock().nHandle + (nPlace - nBase) : 0, answer.nHandle);
}

void LockStep::CheckNewShared(const Request& request, const Answer& answer) const {
    const std::string start = "ZTKTool-" + std::to_string(getpid()) + '-';
    Check(answer.name.size() == start.size() + 32 && Matches(start + kDigits, answer.name),
          "name " + answer.name);
    const auto isNamed = [&answer](const ModelBlock& block) { return block.name == answer.name; };
    Check(std::none_of(shared_.Blocks().begin(), shared_.Blocks().end(), isNamed), "a name given twice");
    const std::uint64_t nView = request.nAlign > 0 ? WordAt(answer.nAddress - kWord) : answer.nAddress;
    CompareNumbers("page of a view", std::uint64_t{0}, nView % 4096);
    if (request.nAlign > 0) {
        CompareNumbers("place in its view", FirstMultiple(nView + kWord, request.nAlign), answer.nAddress);
        return;  // the word below it may lie anywhere in the header
    }
    CompareNumbers("data length", request.nSize - kHeader, WordAt(nView));
    CompareNumbers("header length", std::uint64_t{128} << 48U, WordAt(nView + 8));
    const auto* pName = reinterpret_cast<const char*>(nView + 16);
    Check(std::strncmp(pName, answer.name.c_str(), 80) == 0, "name in the header");
    const auto* pData = reinterpret_cast<const char*>(nView + kHeader);
    const std::uint64_t nLength = std::min<std::uint64_t>(request.nSize - kHeader, 4096);
    Check(std::all_of(pData, pData + nLength, [](char c) { return c == 0; }), "data that is not zero");
}

void LockStep::CheckApart(const ModelBlock& block, bool bShared) const {
    const Extent extent = ExtentOf(block, bShared);
    const auto check = [&](const ModelPool& pool, bool bOtherShared) {
        for (const ModelBlock& other : pool.Blocks()) {
            const Extent taken = ExtentOf(other, bOtherShared);
            if (extent.nFirst >= taken.nBeyond || taken.nFirst >= extent.nBeyond) continue;
            throw Difference(Text("0x%lx, %lu bytes, lies in 0x%lx, %lu bytes", block.nAddress, block.nSize,
                                  other.nAddress, other.nSize));
        }
    };
    check(local_, false);
    check(shared_, true);
}

// ---- contents ----------------------------------------------------------------------------------------

void LockStep::WriteTag(ModelBlock& block, bool bShared) {
    const std::uint64_t nRoom = RoomForTag(block, bShared);
    if (nRoom < kWord) return;
    block.nTag = ++nLastTag_;
    const std::uint64_t nPlace = TagPlace(block, bShared);
    std::memcpy(reinterpret_cast<void*>(nPlace), &block.nTag, kWord);
    std::memcpy(reinterpret_cast<void*>(nPlace + nRoom - kWord), &block.nTag, kWord);
}

void LockStep::CheckTag(const ModelBlock& block, bool bShared) {
    const std::uint64_t nRoom = RoomForTag(block, bShared);
    if (nRoom < kWord) return;
    const std::uint64_t nPlace = TagPlace(block, bShared);
    const bool bWhole = nRoom < 2 * kWord || WordAt(nPlace) == block.nTag;
    Check(bWhole && WordAt(nPlace + nRoom - kWord) == block.nTag, "content of an idle block");
}

}  // namespace ztk::torture
