// Call sites: who called, as a small number. What the number stands for is written to the file once.
#pragma once

#include <cstdint>

namespace ztk_record {

/// The first stack of a process loads a library: not in the middle of a call.
void WarmUpStacks();

/// The number of the call that returns to @p pCaller (with stacks: of it and its callers); 0 if there is no
/// room for more.
std::uint32_t SiteOf(void* pCaller);

/// In a forked child, which writes a file of its own.
void ForgetSites();

}  // namespace ztk_record
