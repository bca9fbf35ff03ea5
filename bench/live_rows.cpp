// What the number of blocks that a subject has out does to one more of its operations.
#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "row.h"

namespace bench {
namespace {

struct Held {
    void* pBlock;
    std::size_t nSize;
};

/// The blocks that are out. Sizes of a few hundred bytes: a hundred thousand of them shall fit.
class Population {
  public:
    Population(const RowOptions& options, Subject& subject)
        : subject_(subject), nSize_(options.nSize), bMixed_(options.bMixed) {}

    void Fill(std::size_t nCount) {
        while (held_.size() < nCount)
            held_.push_back(TakeNew());
    }
    Held TakeNew() {
        const std::size_t nSize = bMixed_ ? nSize_ + 8 * Random(256) : nSize_;
        return {subject_.Take(nSize), nSize};
    }
    void ReturnAll() {
        for (const Held& held : held_)
            subject_.Return(held.pBlock, held.nSize);
    }
    /// Takes again, in the order of the list of blocks held, what was returned.
    void TakeAll() {
        for (Held& held : held_)
            held.pBlock = subject_.Take(held.nSize);
    }
    /// The order in which a mixed population is asked for decides which block serves which request: from the
    /// small ones up, each gets one of its own size.
    void SortBySize() {
        std::sort(held_.begin(), held_.end(),
                  [](const Held& left, const Held& right) { return left.nSize < right.nSize; });
    }
    std::size_t Random(std::size_t nBelow) {
        return std::uniform_int_distribution<std::size_t>(0, nBelow - 1)(generator_);
    }
    std::vector<Held>& Blocks() { return held_; }
    Subject& Source() { return subject_; }

  private:
    Subject& subject_;
    std::size_t nSize_;
    bool bMixed_;
    std::vector<Held> held_;
    std::mt19937 generator_{20};  // NOLINT(cert-msc32-c,cert-msc51-cpp): every run shall do the same
};

/// One idle block among the live ones, handed out and returned: the last in the order in which the subject
/// hands out, so that whoever searches has the most to search.
class LivePairRow : public LoopRow {
  public:
    LivePairRow(const RowOptions& options, Subject& subject) : population_(options, subject) {
        population_.Fill(options.nLive);
        population_.SortBySize();
        population_.ReturnAll();
        population_.TakeAll();
        idle_ = population_.Blocks().back();
        subject.Return(idle_.pBlock, idle_.nSize);
    }

  private:
    void Run(std::uint64_t nOperations) override {
        Subject& subject = population_.Source();
        for (std::uint64_t i = 0; i < nOperations; ++i)
            subject.Return(subject.Take(idle_.nSize), idle_.nSize);
    }

    Population population_;
    Held idle_{};
};

/// Any of the live blocks is returned, and one of its size taken.
class LiveAnyRow : public LoopRow {
  public:
    LiveAnyRow(const RowOptions& options, Subject& subject) : population_(options, subject) {
        population_.Fill(options.nLive);
        for (std::size_t& nVictim : victims_)
            nVictim = population_.Random(options.nLive);
    }

  private:
    void Run(std::uint64_t nOperations) override {
        Subject& subject = population_.Source();
        for (std::uint64_t i = 0; i < nOperations; ++i) {
            Held& held = population_.Blocks()[victims_[i % victims_.size()]];
            subject.Return(held.pBlock, held.nSize);
            held.pBlock = subject.Take(held.nSize);
        }
    }

    Population population_;
    std::vector<std::size_t> victims_ = std::vector<std::size_t>(4096);
};

/// Live blocks are returned, in any order; taking them again is not timed.
class ReleaseRow : public SectionRow {
  public:
    ReleaseRow(const RowOptions& options, Subject& subject)
        : population_(options, subject), nBatch_(std::min<std::size_t>(options.nLive, 256)) {
        population_.Fill(options.nLive);
    }

  private:
    std::uint64_t RunSection(Stopwatch& stopwatch) override {
        std::vector<Held>& blocks = population_.Blocks();
        for (std::size_t i = 0; i < nBatch_; ++i)
            std::swap(blocks[i], blocks[i + population_.Random(blocks.size() - i)]);
        Subject& subject = population_.Source();
        stopwatch.Start();
        for (std::size_t i = 0; i < nBatch_; ++i)
            subject.Return(blocks[i].pBlock, blocks[i].nSize);
        stopwatch.Stop();
        std::sort(blocks.begin(), blocks.begin() + static_cast<std::ptrdiff_t>(nBatch_),
                  [](const Held& left, const Held& right) { return left.nSize < right.nSize; });
        for (std::size_t i = 0; i < nBatch_; ++i)
            blocks[i].pBlock = subject.Take(blocks[i].nSize);
        return nBatch_;
    }

    Population population_;
    std::size_t nBatch_;
};

/// Blocks that the subject has to make, all others being out; giving them back is not timed.
class NewRow : public SectionRow {
  public:
    NewRow(const RowOptions& options, Subject& subject)
        : population_(options, subject), fresh_(std::clamp<std::size_t>(options.nLive / 10, 2, 64)) {
        population_.Fill(options.nLive);
    }

  private:
    std::uint64_t RunSection(Stopwatch& stopwatch) override {
        Subject& subject = population_.Source();
        stopwatch.Start();
        for (Held& held : fresh_)
            held = population_.TakeNew();
        stopwatch.Stop();
        for (const Held& held : fresh_)
            subject.Return(held.pBlock, held.nSize);
        subject.Flush();
        return fresh_.size();
    }

    Population population_;
    std::vector<Held> fresh_;
};

/// All blocks are idle and go back to the system; making them is not timed. An operation is one block.
class GiveBackRow : public SectionRow {
  public:
    GiveBackRow(const RowOptions& options, Subject& subject)
        : population_(options, subject), nLive_(options.nLive) {}

  private:
    std::uint64_t RunSection(Stopwatch& stopwatch) override {
        population_.Blocks().clear();
        population_.Fill(nLive_);
        population_.ReturnAll();
        stopwatch.Start();
        population_.Source().Flush();
        stopwatch.Stop();
        return nLive_;
    }

    Population population_;
    std::size_t nLive_;
};

/// A block that the subject has to make, with every byte written; its end is not timed, or is.
class SegmentRow : public SectionRow {
  public:
    SegmentRow(const RowOptions& options, Subject& subject, bool bToItsEnd)
        : subject_(subject), nSize_(options.nSize), bToItsEnd_(bToItsEnd) {}

  private:
    std::uint64_t RunSection(Stopwatch& stopwatch) override {
        stopwatch.Start();
        void* pBlock = subject_.Take(nSize_);
        std::memset(pBlock, 1, nSize_);
        asm volatile("" : : "r"(pBlock) : "memory");
        if (!bToItsEnd_) stopwatch.Stop();
        subject_.Return(pBlock, nSize_);
        subject_.Flush();
        if (bToItsEnd_) stopwatch.Stop();
        return 1;
    }

    Subject& subject_;
    std::size_t nSize_;
    bool bToItsEnd_;
};

}  // namespace

std::unique_ptr<Row> MakeLiveRow(const RowOptions& options, Subject& subject) {
    if (options.szRow == "live-pair") return std::make_unique<LivePairRow>(options, subject);
    if (options.szRow == "live-any") return std::make_unique<LiveAnyRow>(options, subject);
    if (options.szRow == "release") return std::make_unique<ReleaseRow>(options, subject);
    if (options.szRow == "new") return std::make_unique<NewRow>(options, subject);
    if (options.szRow == "give-back") return std::make_unique<GiveBackRow>(options, subject);
    if (options.szRow == "segment") return std::make_unique<SegmentRow>(options, subject, false);
    if (options.szRow == "segment-life") return std::make_unique<SegmentRow>(options, subject, true);
    return nullptr;
}

}  // namespace bench
