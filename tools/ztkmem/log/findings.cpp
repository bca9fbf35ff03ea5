#include "log/findings.h"

#include <fmt/format.h>

#include <algorithm>

#include "text.h"

namespace ztkmem::log {
namespace {

constexpr Pool kBothPools[] = {Pool::kLocal, Pool::kShared};

class Verdict {
  public:
    Verdict(const Analysis& analysis, const Timeline& times) : analysis_(analysis), times_(times) {}

    std::vector<Finding> All() {
        for (const Pool enPool : kBothPools)
            OfPool(enPool);
        OfCauses();
        for (const Outcome& outcome : analysis_.Outcomes())
            OfProcess(outcome);
        SayClock();
        if (!HasProblem(findings_)) SayHealthy();
        SayLimits();
        std::stable_sort(findings_.begin(), findings_.end(), [](const Finding& one, const Finding& other) {
            return one.enWeight < other.enWeight;
        });
        return std::move(findings_);
    }

  private:
    void Problem(std::string code, std::string sentence) {
        findings_.push_back({Weight::kProblem, std::move(code), std::move(sentence)});
    }
    void Remark(std::string code, std::string sentence) {
        findings_.push_back({Weight::kRemark, std::move(code), std::move(sentence)});
    }

    void OfPool(Pool enPool);
    void OfCauses();
    void OfProcess(const Outcome& outcome);
    void OfReclaimer(const Outcome& outcome, Pool enPool);
    void OfIdleTotal(const Outcome& outcome, Pool enPool);
    void OfUse(const Outcome& outcome, Pool enPool);
    void OfGrowth(const Outcome& outcome);
    void SayClock();
    void SayHealthy();
    void SayLimits();
    void SayTorn();
    void SayIdentities();
    std::string Of(const Outcome& outcome) const;

    const Analysis& analysis_;
    const Timeline& times_;
    std::vector<Finding> findings_;
};

std::string Range(const SizeRange& sizes) {
    if (sizes.nLeast == sizes.nMost) return Bytes(sizes.nMost);
    return fmt::format("{} to {}", Bytes(sizes.nLeast), Bytes(sizes.nMost));
}

std::string Verdict::Of(const Outcome& outcome) const {
    if (analysis_.Outcomes().size() == 1) return "";
    if (outcome.nProcess != 0) return fmt::format(" of process {}", outcome.nProcess);
    return fmt::format(" of the process first seen at {}", times_.Text(outcome.first));
}

std::string AfterRetry(const PoolFacts& facts) {
    if (facts.nFailedAfterRetry == 0) return "";
    const bool bAll = facts.nFailedAfterRetry == facts.failed.nCount;
    return fmt::format(", {}even after everything idle was given back",
                       bAll ? "" : fmt::format("{} of them ", facts.nFailedAfterRetry));
}

void Verdict::OfPool(Pool enPool) {
    const PoolFacts& facts = analysis_.Of(enPool);
    const auto name = NameOf(enPool);
    if (facts.failed.nCount != 0) {
        Problem("failed",
                fmt::format("The {} pool failed {} ({}){}.", name, Counted(facts.failed.nCount, "request"),
                            Range(facts.failed), AfterRetry(facts)));
    }
    if (facts.rescued.nCount != 0) {
        Problem("retried",
                fmt::format("Memory was short for {} of the {} pool ({}) until everything idle was given "
                            "back; the second attempt served {}.",
                            Counted(facts.rescued.nCount, "request"), name, Range(facts.rescued),
                            facts.rescued.nCount == 1 ? "it" : "them"));
    }
    const std::uint64_t nOpen =
        facts.nRetries - std::min(facts.nRetries, facts.rescued.nCount + facts.nFailedAfterRetry);
    if (nOpen != 0) {
        Problem("retry-unfinished",
                fmt::format(
                    "Of {} of the {} pool the log does not tell the outcome of {}: success is an information "
                    "line.",
                    Counted(facts.nRetries, "retry line"), name, nOpen));
    }
    if (facts.nUnknownReleases != 0) {
        Problem(
            "unknown-release",
            fmt::format("{} of an address the {} pool does not know: freed in the wrong pool or process, or "
                        "corrupted.",
                        Counted(facts.nUnknownReleases, "release"), name));
    }
    if (facts.nBroken != 0) {
        Problem("reclaimer-broken",
                fmt::format("The reclaimer of the {} pool could not be started or ended ({}).", name,
                            Counted(facts.nBroken, "error line")));
    }
}

/// Causes of failed requests are in the table; those that nothing failed by are worth a word.
void Verdict::OfCauses() {
    std::uint64_t nCauses = 0;
    std::string first;
    for (const Failure& failure : analysis_.AllFailures().All()) {
        if (failure.pForm->enMeaning != Meaning::kCause) continue;
        if (nCauses == 0) first = fmt::format("{}@{}", failure.pForm->function, failure.pForm->nNumber);
        nCauses += failure.nCount;
    }
    const PoolFacts& local = analysis_.Of(Pool::kLocal);
    const PoolFacts& shared = analysis_.Of(Pool::kShared);
    if (nCauses == 0 || local.failed.nCount + local.nRetries + shared.failed.nCount + shared.nRetries != 0)
        return;
    Problem("system-error", fmt::format("{} below the pools without a failed request, the first from {}.",
                                        Counted(nCauses, "error line"), first));
}

void Verdict::OfReclaimer(const Outcome& outcome, Pool enPool) {
    const PoolOutcome& pool = outcome.At(enPool);
    if (!pool.bExpected || pool.silence.seconds <= Lives::kSilence) return;
    const std::string missing = fmt::format(
        "No minute line of the {} pool{} from {} to {}, though other lines of the "
        "process went on for {} of that time",
        NameOf(enPool), Of(outcome), times_.Text(pool.silence.from), times_.Text(pool.silence.to),
        Duration(pool.silence.seconds));
    const bool bAtEnd = pool.nLimitLines == 0 || pool.silence.to.nLine > pool.lastLimit.nLine;
    Problem("reclaimer-silent",
            missing + (bAtEnd ? ": its reclaimer hangs, ended, or never ran."
                              : ": its reclaimer was held up, on the pool's lock perhaps."));
}

void Verdict::OfIdleTotal(const Outcome& outcome, Pool enPool) {
    const PoolOutcome& pool = outcome.At(enPool);
    if (pool.nImpossible != 0) {
        Problem("double-free",
                fmt::format("At {} the {} pool{} called more bytes idle than it had: blocks were "
                            "freed twice.",
                            Counted(pool.nImpossible, "minute"), NameOf(enPool), Of(outcome)));
    }
    if (pool.nMostOverInARow >= 3) {
        Problem(
            "over-limit",
            fmt::format("The {} pool{} stayed above its idle limit for {} minutes in a row without giving "
                        "anything back: its blocks never idle for 30 s, or were freed twice.",
                        NameOf(enPool), Of(outcome), pool.nMostOverInARow));
    }
}

void Verdict::OfUse(const Outcome& outcome, Pool enPool) {
    const PoolOutcome& pool = outcome.At(enPool);
    if (!pool.RisingFloor()) return;
    Problem(
        "use-grows",
        fmt::format(
            "Bytes in use in the {} pool{} keep rising: at most {} in the first third of {} minutes, never "
            "below {} in the last; now {}. Something takes blocks and does not free them.",
            NameOf(enPool), Of(outcome), Bytes(pool.mostInUse[0]), pool.nLooks, Bytes(pool.leastInUse[2]),
            Bytes(pool.nInUseLast)));
}

std::string SizeText(std::uint64_t nSize) {
    return nSize == 0 ? "blocks of other sizes" : fmt::format("blocks of {} bytes", nSize);
}

void Verdict::OfGrowth(const Outcome& outcome) {
    std::size_t nSaid = 0;
    for (const GrowingBlocks& growing : outcome.growing) {
        const Trend& trend = growing.size.trend;
        if (++nSaid > 3) break;
        Problem("growth",
                fmt::format("{} {}{} only grow: {} to {} in {} {}, more at {} of them, fewer at none.",
                            NameOf(growing.enMemory), SizeText(growing.size.nSize), Of(outcome), trend.nFirst,
                            trend.nLast, growing.nLooks, growing.bByDump ? "dumps" : "minutes", trend.nGrew));
    }
    if (outcome.growing.size() > 3)
        Problem("growth", fmt::format("{} more sizes{} only grow.", outcome.growing.size() - 3, Of(outcome)));
}

void Verdict::OfProcess(const Outcome& outcome) {
    for (const Pool enPool : kBothPools) {
        OfReclaimer(outcome, enPool);
        OfIdleTotal(outcome, enPool);
        OfUse(outcome, enPool);
    }
    OfGrowth(outcome);
}

void Verdict::SayHealthy() {
    if (analysis_.InformationLines() == 0) return;
    const auto minutes = analysis_.Of(Pool::kLocal).nLimitLines + analysis_.Of(Pool::kShared).nLimitLines;
    Remark("healthy", fmt::format("Nothing wrong in {}: no failed request, no retry, no unknown release, {}.",
                                  Counted(analysis_.Lines(), "library line"),
                                  minutes == 0 ? std::string("and no minute lines yet that could show growth")
                                               : fmt::format("nothing that only grows, {}",
                                                             Counted(minutes, "minute line"))));
}

void Verdict::SayIdentities() {
    if (analysis_.Processes() > 1 && analysis_.Outcomes().size() > 1) {
        Remark("processes",
               fmt::format("{} pool starts: several processes, or one again and again. Ended ones leave "
                           "no line; whoever fell silent for minutes counts as ended.",
                           analysis_.Processes()));
    }
    if (analysis_.Twice() != 0) {
        Remark(
            "mixed",
            fmt::format("{} handed out again without a free: processes are mixed that the lines do not tell "
                        "apart, or frees are missing.",
                        Counted(analysis_.Twice(), "address")));
    }
    if (analysis_.Forgotten() != 0)
        Remark("forgotten", fmt::format("{} too many to judge.", Counted(analysis_.Forgotten(), "process")));
}

/// Before everything else that is remarked: it may turn the whole verdict over.
void Verdict::SayClock() {
    const unsigned nBack = times_.ClockSetsBack();
    if (nBack != 0) {
        Remark(
            "clock",
            fmt::format("The clock went back {}, by {} at most. If that is because parts of the log are in "
                        "the wrong order (the oldest has to come first), nothing said here holds.",
                        Counted(nBack, "time"), Duration(times_.LargestStepBack())));
    }
    if (times_.ClockSets() != nBack) {
        Remark("clock", fmt::format("The clock was set ahead {}; the axis goes on as if it had not.",
                                    Counted(times_.ClockSets() - nBack, "time")));
    }
}

void Verdict::SayTorn() {
    if (analysis_.Torn() + analysis_.Unmatched() == 0) return;
    Remark("torn", fmt::format("{} torn, {} without the allocation.", Counted(analysis_.Torn(), "line"),
                               Counted(analysis_.Unmatched(), "free")));
}

void Verdict::SayLimits() {
    if (analysis_.Lines() == 0) {
        Remark("no-lines", analysis_.Torn() == 0
                               ? "No line of the library: wrong file, or its log level lets nothing through."
                               : "No whole line of the library: all that begin as its lines do go on "
                                 "differently, torn or wrapped in a form not known here.");
        return SayTorn();
    }
    if (analysis_.InformationLines() == 0)
        Remark("level",
               "Only warnings and errors: allocations, minute lines and dumps take the information level.");
    if (!analysis_.HasTimes() && analysis_.InformationLines() != 0)
        Remark("no-times", "The lines have no times: the reclaimers cannot be judged.");
    const Flow& untold = analysis_.Of(Memory::kUntold).allocated;
    if (untold.nBlocks != 0) {
        Remark(
            "untold",
            fmt::format("Of {} of the local pool the lines do not tell whether heap or MMZ; that takes the "
                        "trace level.",
                        Counted(untold.nBlocks, "block")));
    }
    SayIdentities();
    SayTorn();
    if (analysis_.AddressesFull())
        Remark("addresses", fmt::format("More than {} blocks at a time: beyond, only sizes were counted.",
                                        PoolBooks::kMostAddresses));
}

}  // namespace

std::vector<Finding> Judge(const Analysis& analysis, const Timeline& times) {
    return Verdict(analysis, times).All();
}

std::optional<bool> IsHealthy(const Analysis& analysis, const std::vector<Finding>& findings) {
    if (analysis.Lines() == 0) return std::nullopt;
    return !HasProblem(findings);
}

bool HasProblem(const std::vector<Finding>& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.enWeight == Weight::kProblem; });
}

}  // namespace ztkmem::log
