#include "log/calls.h"

namespace ztkmem::log {

Calls::State& Calls::Of(const Speaker& speaker) {
    if (states_.size() >= kMostSpeakers) states_.clear();
    return states_[speaker.nThread != 0 ? speaker.nThread : speaker.nProcess << 32U];
}

void Calls::Begins(const Speaker& speaker) {
    State& state = Of(speaker);
    if (speaker.nThread != 0) state.nOpen = 0;  // the result line of the call before was lost
    state.bMixed = state.nOpen > 0;
    ++state.nOpen;
    state.block.reset();
}

void Calls::Allocated(const Speaker& speaker, const NewBlock& block) {
    State& state = Of(speaker);
    if (state.block) state.bMixed = true;
    state.block = block;
}

std::optional<NewBlock> Calls::Ends(const Speaker& speaker, std::uint64_t nSize) {
    State& state = Of(speaker);
    const bool bSure = state.nOpen == 1 && !state.bMixed && state.block && state.block->nSize == nSize;
    const auto block = bSure ? state.block : std::nullopt;
    if (state.nOpen > 0) --state.nOpen;
    if (state.nOpen == 0) {
        state.bMixed = false;
        state.block.reset();
    }
    return block;
}

void Calls::Retries(const Speaker& speaker, Pool enPool) {
    Of(speaker).bRetry[static_cast<std::size_t>(enPool)] = true;
}

bool Calls::TakeRetry(const Speaker& speaker, Pool enPool) {
    bool& bRetry = Of(speaker).bRetry[static_cast<std::size_t>(enPool)];
    const bool bTaken = bRetry;
    bRetry = false;
    return bTaken;
}

}  // namespace ztkmem::log
