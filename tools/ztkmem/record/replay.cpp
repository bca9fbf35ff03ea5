#include "record/replay.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "common/ztk_common.h"
#include "record/record_report.h"
#include "record/record_words.h"
#include "table.h"
#include "text.h"

namespace ztkmem::record {
namespace {

/// No block begins here, whatever the pools have.
char g_nobodys[16];

/// An MMZ block's length is formed in 32 bits: from 4 GiB on it has less than was asked for.
bool IsAllThere(const Event& event) {
    constexpr std::uint64_t kMostMmz = UINT32_MAX;
    const auto nAlign = static_cast<std::uint64_t>(std::max(event.nAlign, 0));
    return event.IsShared() || event.enMemType != ZTK_MEM_MMZ || event.nSize <= kMostMmz - nAlign - 8;
}

void Touch(const Event& event, void* pBlock) {
    constexpr std::uint64_t kPage = 4096;
    auto* pBytes = static_cast<volatile char*>(pBlock);
    const std::uint64_t nFirst = event.IsShared() ? ZTK_SHARED_HEADER_SIZE : 0;
    for (std::uint64_t i = nFirst; i < event.nSize; i += kPage)
        pBytes[i] = 1;
}

}  // namespace

void Replay::Take(const Event& event) {
    if (event.IsAllocation() && !event.bNoOutput) Allocate(event);
    if (event.IsRelease()) Release(event);
    if (event.enOperation == Operation::kUnload) {  // nothing of it can be released any more
        local_.clear();
        shared_.clear();
    }
}

void Replay::Compare(const Event& event, std::uint32_t nStatus, std::uint64_t& nCounter) {
    if (nStatus == event.nStatus) return;
    ++nCounter;
    if (facts_.firstDifference) return;
    facts_.firstDifference = event;
    facts_.nFirstStatus = nStatus;
}

void Replay::Allocate(const Event& event) {
    void* pBlock = nullptr;
    Event now = event;
    now.nStatus = Ask(event, pBlock);
    now.nAddress = reinterpret_cast<std::uintptr_t>(pBlock);
    ++facts_.nCalls;
    const Verdict enVerdict = Enter(now);
    Compare(event, now.nStatus, now.nStatus == ZTK_SUCCESS ? facts_.nServedNow : facts_.nRefusedNow);
    if (enVerdict == Verdict::kMade && bTouch_ && IsAllThere(event)) Touch(event, pBlock);
    if (event.nStatus == ZTK_SUCCESS) {
        Of(event)[event.nAddress] = pBlock;
    } else if (pBlock != nullptr) {
        // The program never had it. It would stay busy for good.
        now.enOperation = event.IsShared() ? Operation::kReleaseShared : Operation::kRelease;
        now.nStatus = Return(event, pBlock);
        Enter(now);
    }
}

void Replay::Release(const Event& event) {
    const bool bUnknown = event.nStatus != ZTK_SUCCESS;
    const auto it = Of(event).find(event.nAddress);
    if (!bUnknown && (it == Of(event).end() || it->second == nullptr)) {
        ++facts_.nLeftOut;
        return;
    }
    Event now = event;
    void* pBlock = event.nAddress == 0 ? nullptr : static_cast<void*>(g_nobodys);
    if (!bUnknown) pBlock = it->second;
    now.nAddress = reinterpret_cast<std::uintptr_t>(pBlock);
    now.nStatus = Return(event, pBlock);
    ++facts_.nCalls;
    Enter(now);
    Compare(event, now.nStatus, facts_.nOther);
}

std::uint32_t Replay::Ask(const Event& event, void*& pBlock) const {
    std::array<char, ZTK_SHARED_NAME_SIZE> name{};
    switch (event.enOperation) {
        case Operation::kAllocate:
            return library_.pAllocate(event.nSize, event.enMemType, &pBlock, nullptr);
        case Operation::kAllocateAligned:
            return library_.pAllocateAligned(event.nSize, event.nAlign, event.enMemType, &pBlock, nullptr);
        default:
            return library_.pAllocateShared(event.nSize, &pBlock, name.data());
    }
}

std::uint32_t Replay::Return(const Event& event, void* pBlock) const {
    return event.IsShared() ? library_.pReleaseShared(pBlock) : library_.pRelease(pBlock);
}

/// What the pools gave back comes first: a call gives back before it makes.
Verdict Replay::Enter(Event event) {
    const Told told = TakeTold();
    Event freed;
    freed.nAt = event.nAt;
    for (const auto* pAddresses : {&told.freedLocal, &told.freedShared}) {
        freed.enOperation =
            pAddresses == &told.freedLocal ? Operation::kGiveBack : Operation::kGiveBackShared;
        for (const std::uint64_t nAddress : *pAddresses) {
            freed.nAddress = nAddress;
            books_.Take(freed);
            ++facts_.nGivenBack;
        }
    }
    event.bNew = told.bMade;
    event.bRetried = told.bRetried;
    return books_.Take(event);
}

namespace {

struct Summary {
    std::uint64_t nRequests = 0;
    std::uint64_t nReused = 0;
    std::uint64_t nMade = 0;
    std::uint64_t nRetried = 0;
    std::uint64_t nRefused = 0;
};

Summary Summarize(const Books& books) {
    Summary sum;
    for (const auto& [shelf, facts] : books.Shelves()) {
        sum.nRequests += facts.nRequests;
        sum.nReused += facts.nReused;
        sum.nMade += facts.nMade;
        sum.nRetried += facts.nRetried;
        sum.nRefused += facts.nRefused;
    }
    return sum;
}

std::string Comparison(const Books& recorded, std::uint64_t nRecordedGivenBack, const Replay& replay) {
    const Summary before = Summarize(recorded);
    const Summary now = Summarize(replay.Now());
    Table table({{"", Align::kLeft}, {"RECORDED", Align::kRight}, {"REPLAYED", Align::kRight}});
    const auto number = [&table](const char* szWhat, std::uint64_t nBefore, std::uint64_t nNow) {
        table.AddRow({szWhat, std::to_string(nBefore), std::to_string(nNow)});
    };
    const auto bytes = [&table](const char* szWhat, std::uint64_t nBefore, std::uint64_t nNow) {
        table.AddRow({szWhat, HumanBytes(nBefore), HumanBytes(nNow)});
    };
    number("requests", before.nRequests, now.nRequests);
    table.AddRow({"served from idle blocks", Percent(before.nReused, before.nReused + before.nMade),
                  Percent(now.nReused, now.nReused + now.nMade)});
    number("blocks made", before.nMade, now.nMade);
    number("blocks given back to the system", nRecordedGivenBack, replay.Facts().nGivenBack);
    number("requests tried twice", before.nRetried, now.nRetried);
    number("requests refused", before.nRefused, now.nRefused);
    bytes("peak busy", recorded.Sum().nPeakBusy, replay.Now().Sum().nPeakBusy);
    bytes("peak idle", recorded.Sum().nPeakIdle, replay.Now().Sum().nPeakIdle);
    bytes("peak of both together", recorded.Sum().nPeakOwned, replay.Now().Sum().nPeakOwned);
    return table.Text();
}

std::string Differences(const ReplayFacts& facts) {
    if (!facts.firstDifference) return "every call gave the same status as when it was recorded\n";
    const Event& first = *facts.firstDifference;
    std::string text = fmt::format(
        "{} gave another status: {} refused that had been served, {} served that had "
        "been refused, {} releases\n",
        Counted(facts.Differences(), "call"), facts.nRefusedNow, facts.nServedNow, facts.nOther);
    text += fmt::format("the first at {}: {}", Seconds(first.nAt), NameOf(first.enOperation));
    if (first.IsAllocation()) text += fmt::format(" of {}", HumanBytes(first.nSize));
    return text +
           fmt::format(" gave {}, now {}\n", StatusName(first.nStatus), StatusName(facts.nFirstStatus));
}

}  // namespace

std::string ReplayText(const std::string& name, const PoolLibrary& library, const Books& recorded,
                       std::uint64_t nRecordedGivenBack, const Replay& replay, double seconds) {
    const ReplayFacts& facts = replay.Facts();
    std::string text = fmt::format("{}: {} in {:.3f} s on {}\n", Escape(name), Counted(facts.nCalls, "call"),
                                   seconds, Escape(library.path));
    text += fmt::format("recorded: {}\n\n", Seconds(recorded.Last()));
    text += Comparison(recorded, nRecordedGivenBack, replay) + "\nReplayed\n" +
            ShelfTable(replay.Now().Shelves());
    text += '\n' + Differences(facts);
    if (facts.nLeftOut != 0)
        text += fmt::format("{} left out: of blocks from before the recording, or not had now\n",
                            Counted(facts.nLeftOut, "release"));
    return text;
}

}  // namespace ztkmem::record
