// A pool as its callers know it, in the plainest form: all blocks in one heap, every question answered by
// looking at each.
//
// It is written from what the header promises, not from how the library does it, and it shares nothing with
// it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ztk::torture {

struct ModelBlock {
    std::uint64_t nAddress = 0;
    std::uint64_t nHandle = 0;
    std::uint64_t nSize = 0;
    std::int32_t nAlign = 0;
    std::int32_t enMemType = 0;  ///< of the local pool; 0 in the shared one
    bool bBusy = true;
    std::int64_t nLastUse = 0;  ///< seconds
    std::string name;           ///< of a shared block
    std::uint64_t nTag = 0;     ///< what was written into it
};

/// A line as the log shows it, level first. kDigits stands for hexadecimal digits that nobody can know.
using LogText = std::vector<std::string>;
constexpr char kDigits = '\x01';

/// The class of a size: below 20 MiB, below 50 MiB, then steps of 50 MiB.
std::int32_t ClassOf(std::uint64_t nSize);

class ModelPool {
  public:
    explicit ModelPool(bool bShared) : bShared_(bShared) {}

    /// The idle blocks that may serve a request: of its type, alignment and class, not smaller, at most 30
    /// MiB larger, and the smallest such. More than one only if they are of one size.
    std::vector<ModelBlock*> Fitting(std::uint64_t nSize, std::int32_t nAlign, std::int32_t enMemType);

    ModelBlock* Find(std::uint64_t nAddress);

    void Add(const ModelBlock& block) { blocks_.push_back(block); }
    void HandOut(ModelBlock& block, std::int64_t nNow);
    void TakeBack(ModelBlock& block, std::int64_t nNow);

    /// Gives back what is idle for @p nSeconds or longer; adds what is written. The order of blocks of one
    /// size is the library's choice: it is taken from what it @p wrote.
    void FreeIdle(std::int64_t nSeconds, std::int64_t nNow, const LogText& wrote, LogText& lines);

    /// A wake-up of the reclaimer.
    void WakeUp(std::int64_t nNow, int nLogLevel, const LogText& wrote, LogText& lines);

    /// How many wake-ups until the idle total is checked: 1 to 4.
    int WakeUpsUntilCheck() const;

    const std::vector<ModelBlock>& Blocks() const { return blocks_; }
    std::uint64_t RedundantSize() const { return nRedundant_; }

  private:
    std::vector<ModelBlock> InOrder(const LogText& wrote) const;
    void Dump(const LogText& wrote, LogText& lines) const;
    void DumpType(const std::vector<ModelBlock>& ordered, std::int32_t enMemType, LogText& lines) const;

    const bool bShared_;
    std::vector<ModelBlock> blocks_;
    std::uint64_t nRedundant_ = 0;
    int nWakeUps_ = 0;
    int nWakeUpsForDump_ = 0;
};

// ---- the texts of lines ------------------------------------------------------------------------------

[[gnu::format(printf, 1, 2)]] std::string Text(const char* szFormat, ...);

/// Level, function, number: "1 [AllocateMemory@160][ZtkCommon] ".
#define ZTK_MODEL_TAGGED(nLevel, szFunction, nLine) #nLevel " [" szFunction "@" #nLine "][ZtkCommon] "
#define ZTK_MODEL_PLAIN(nLevel, szFunction, nLine) #nLevel " [" szFunction "@" #nLine "]"

/// Whether a line is as expected; kDigits in @p expected matches any hexadecimal digits.
bool Matches(const std::string& expected, const std::string& line);

}  // namespace ztk::torture
