// What only lines in a row can tell: of which memory a new block is, and what became of a retry.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <unordered_map>

#include "log/line_forms.h"
#include "log/speaker.h"

namespace ztkmem::log {

/// A new block of the local pool: its line does not say whether it is heap or MMZ.
struct NewBlock {
    std::uint64_t nAddress = 0;
    std::uint64_t nSize = 0;
};

/// The lines of a call, its first, its block and its result, come in a row only as far as nobody else speaks
/// in between: per thread if the log tells threads; else the result counts only if no second call began
/// before it.
class Calls {
  public:
    static constexpr std::size_t kMostSpeakers = 4096;

    void Begins(const Speaker& speaker);
    void Allocated(const Speaker& speaker, const NewBlock& block);

    /// The block that the call made, if the lines leave no doubt.
    std::optional<NewBlock> Ends(const Speaker& speaker, std::uint64_t nSize);

    /// The pool's lock is held from a retry to its outcome, so that the next outcome is its.
    void Retries(const Speaker& speaker, Pool enPool);
    bool TakeRetry(const Speaker& speaker, Pool enPool);

  private:
    struct State {
        int nOpen = 0;
        bool bMixed = false;
        std::optional<NewBlock> block;
        std::array<bool, kPools> bRetry{};
    };
    State& Of(const Speaker& speaker);

    std::unordered_map<std::uint64_t, State> states_;
};

}  // namespace ztkmem::log
