// Does again what a recorded process asked of the pools, on one thread, in the recorded order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include "record/books.h"
#include "record/pool_library.h"

namespace ztkmem::record {

struct ReplayFacts {
    std::uint64_t nCalls = 0;
    std::uint64_t nRefusedNow = 0;         ///< served when recorded
    std::uint64_t nServedNow = 0;          ///< refused when recorded
    std::uint64_t nOther = 0;              ///< releases that gave another status
    std::uint64_t nLeftOut = 0;            ///< releases of blocks from before the recording, or not had now
    std::uint64_t nGivenBack = 0;          ///< blocks that the pools gave back to the system
    std::optional<Event> firstDifference;  ///< as recorded
    std::uint32_t nFirstStatus = 0;        ///< and what it gave now

    std::uint64_t Differences() const { return nRefusedNow + nServedNow + nOther; }
};

class Replay {
  public:
    /// @p bTouch: new blocks are written to, a byte a page, as those who ask for them do.
    Replay(PoolLibrary library, bool bTouch) : library_(std::move(library)), bTouch_(bTouch) {}

    void Take(const Event& event);

    const ReplayFacts& Facts() const { return facts_; }
    /// Of the replay, kept as those of the recording.
    const Books& Now() const { return books_; }

  private:
    using Addresses =
        std::unordered_map<std::uint64_t, void*>;  ///< as recorded, and as now; null: not had now

    void Allocate(const Event& event);
    void Release(const Event& event);
    std::uint32_t Ask(const Event& event, void*& pBlock) const;
    std::uint32_t Return(const Event& event, void* pBlock) const;
    Verdict Enter(Event event);
    void Compare(const Event& event, std::uint32_t nStatus, std::uint64_t& nCounter);
    Addresses& Of(const Event& event) { return event.IsShared() ? shared_ : local_; }

    const PoolLibrary library_;
    const bool bTouch_;
    Addresses local_;
    Addresses shared_;
    Books books_{true};
    ReplayFacts facts_;
};

std::string ReplayText(const std::string& name, const PoolLibrary& library, const Books& recorded,
                       std::uint64_t nRecordedGivenBack, const Replay& replay, double seconds);

}  // namespace ztkmem::record
