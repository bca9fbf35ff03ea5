#include "torture/model/model_pool.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <tuple>

namespace ztk::torture {
namespace {

constexpr std::uint64_t kMiB = std::uint64_t{1024} * 1024;
constexpr std::uint64_t kMostSurplus = 30 * kMiB;
constexpr std::uint64_t kAllowed = 300 * kMiB;
constexpr std::int64_t kOldEnough = 30;
constexpr int kEveryFourth = 4;
constexpr int kBlocksPerLine = 10;

std::string Hex(std::uint64_t nNumber) {
    return Text("0x%lx", nNumber);
}

/// Where the library wrote of a block; behind everything where it did not.
std::size_t PlaceIn(const LogText& wrote, const ModelBlock& block) {
    const std::string address = Hex(block.nAddress);
    std::size_t nBefore = 0;
    for (const std::string& line : wrote) {
        for (const char cEnd : {',', ':'}) {
            const std::size_t nAt = line.find(address + cEnd);
            if (nAt != std::string::npos) return nBefore + nAt;
        }
        nBefore += line.size();
    }
    return nBefore;
}

}  // namespace

std::int32_t ClassOf(std::uint64_t nSize) {
    if (nSize < 20 * kMiB) return 0;
    if (nSize < 50 * kMiB) return 1;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(nSize / (50 * kMiB))) + 1;
}

std::vector<ModelBlock*> ModelPool::Fitting(std::uint64_t nSize, std::int32_t nAlign,
                                            std::int32_t enMemType) {
    std::vector<ModelBlock*> fitting;
    for (ModelBlock& block : blocks_) {
        if (block.bBusy || block.enMemType != enMemType || block.nAlign != nAlign) continue;
        if (ClassOf(block.nSize) != ClassOf(nSize)) continue;
        if (block.nSize < nSize || block.nSize - nSize > kMostSurplus) continue;
        if (!fitting.empty() && block.nSize > fitting.front()->nSize) continue;
        if (!fitting.empty() && block.nSize < fitting.front()->nSize) fitting.clear();
        fitting.push_back(&block);
    }
    return fitting;
}

ModelBlock* ModelPool::Find(std::uint64_t nAddress) {
    const auto it = std::find_if(blocks_.begin(), blocks_.end(),
                                 [nAddress](const ModelBlock& block) { return block.nAddress == nAddress; });
    return it == blocks_.end() ? nullptr : &*it;
}

void ModelPool::HandOut(ModelBlock& block, std::int64_t nNow) {
    block.bBusy = true;
    block.nLastUse = nNow;
    nRedundant_ -= block.nSize;
}

void ModelPool::TakeBack(ModelBlock& block, std::int64_t nNow) {
    block.bBusy = false;
    block.nLastUse = nNow;
    nRedundant_ += block.nSize;
}

std::vector<ModelBlock> ModelPool::InOrder(const LogText& wrote) const {
    std::vector<ModelBlock> ordered = blocks_;
    std::sort(ordered.begin(), ordered.end(), [&wrote](const ModelBlock& a, const ModelBlock& b) {
        const auto key = [](const ModelBlock& block) {
            return std::make_tuple(block.enMemType, block.nAlign, ClassOf(block.nSize), block.nSize);
        };
        if (key(a) != key(b)) return key(a) < key(b);
        return PlaceIn(wrote, a) < PlaceIn(wrote, b);
    });
    return ordered;
}

void ModelPool::FreeIdle(std::int64_t nSeconds, std::int64_t nNow, const LogText& wrote, LogText& lines) {
    for (const ModelBlock& block : InOrder(wrote)) {
        if (block.bBusy || nNow - block.nLastUse < nSeconds) continue;
        const std::string tail = Hex(block.nAddress) + ", size=" + std::to_string(block.nSize);
        lines.push_back(bShared_
                            ? ZTK_MODEL_TAGGED(1, "FreeUnbusyMemory", 372) "Free shared memory addr=" + tail
                            : ZTK_MODEL_TAGGED(1, "FreeUnbusyMemory", 373) "Free system memory addr=" + tail);
        nRedundant_ -= block.nSize;
        const std::uint64_t nAddress = block.nAddress;
        blocks_.erase(std::remove_if(blocks_.begin(), blocks_.end(),
                                     [nAddress](const ModelBlock& b) { return b.nAddress == nAddress; }),
                      blocks_.end());
    }
}

void ModelPool::WakeUp(std::int64_t nNow, int nLogLevel, const LogText& wrote, LogText& lines) {
    if (++nWakeUps_ == kEveryFourth) {
        nWakeUps_ = 0;
        const std::string tail =
            Text("Current redundant memory size: %lu bytes, allow limit size: 314572800 bytes", nRedundant_);
        lines.push_back(bShared_ ? ZTK_MODEL_TAGGED(1, "DoFreeUnbusyMemoryWork", 321) + tail
                                 : ZTK_MODEL_TAGGED(1, "DoFreeUnbusyMemoryWork", 318) + tail);
        if (nRedundant_ > kAllowed) FreeIdle(kOldEnough, nNow, wrote, lines);
    }
    if (nLogLevel > 1) return;
    if (++nWakeUpsForDump_ < kEveryFourth) return;
    nWakeUpsForDump_ = 0;
    Dump(wrote, lines);
}

int ModelPool::WakeUpsUntilCheck() const {
    return kEveryFourth - nWakeUps_;
}

// ---- dumps -------------------------------------------------------------------------------------------

void ModelPool::Dump(const LogText& wrote, LogText& lines) const {
    const std::vector<ModelBlock> ordered = InOrder(wrote);
    DumpType(ordered, 0, lines);
    if (!bShared_) DumpType(ordered, 1, lines);
}

void ModelPool::DumpType(const std::vector<ModelBlock>& ordered, std::int32_t enMemType,
                         LogText& lines) const {
    std::string text;
    int nBlocks = 0;
    std::uint64_t nTotal = 0;
    for (const ModelBlock& block : ordered) {
        if (block.enMemType != enMemType) continue;
        text += std::to_string(block.nSize);
        if (!bShared_) {
            text += '[' + Hex(block.nAddress) + ':' + (block.nHandle == 0 ? "0" : Hex(block.nHandle)) + ']';
        }
        text += ", ";
        ++nBlocks;
        nTotal += block.nSize;
        if (nBlocks % kBlocksPerLine == 0) text += '\n';
    }
    const std::string summary =
        Text("Memory pool contains %d block(s), total size: %lu bytes", nBlocks, nTotal);
    if (bShared_) {
        lines.push_back(
            ZTK_MODEL_TAGGED(
                0, "DumpMemoryInfo",
                437) "##############Shared memory pool block list detail: #####################\n" +
            text);
        lines.push_back(
            Text(ZTK_MODEL_TAGGED(1, "DumpMemoryInfo",
                                  438) "Shared memory pool contains %d block(s), total size: %lu bytes",
                 nBlocks, nTotal));
    } else if (enMemType == 0) {
        lines.push_back(
            ZTK_MODEL_TAGGED(0, "DumpMemoryInfo",
                             438) "*************OS Memory pool block list detail:*****************\n" +
            text);
        lines.push_back(ZTK_MODEL_TAGGED(1, "DumpMemoryInfo", 439) "OS " + summary);
    } else {
        lines.push_back(
            ZTK_MODEL_TAGGED(
                0, "DumpMemoryInfo",
                475) "----------------MMZ Memory pool block list detail: ----------------------\n" +
            text);
        lines.push_back(ZTK_MODEL_TAGGED(1, "DumpMemoryInfo", 476) "MMZ " + summary);
    }
}

// ---- texts -------------------------------------------------------------------------------------------

// NOLINTNEXTLINE(cert-dcl50-cpp): formats as the log has them, checked by the compiler
std::string Text(const char* szFormat, ...) {
    char szText[512];
    va_list values;
    va_start(values, szFormat);
    static_cast<void>(std::vsnprintf(szText, sizeof(szText), szFormat, values));
    va_end(values);
    return szText;
}

bool Matches(const std::string& expected, const std::string& line) {
    std::size_t n = 0;
    for (const char c : expected) {
        if (c == kDigits) {
            const std::size_t nFirst = n;
            while (n < line.size() && std::isxdigit(static_cast<unsigned char>(line[n])) != 0)
                ++n;
            if (n == nFirst) return false;
        } else if (n == line.size() || line[n++] != c) {
            return false;
        }
    }
    return n == line.size();
}

}  // namespace ztk::torture
