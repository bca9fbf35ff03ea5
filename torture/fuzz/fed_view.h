// A header, as somebody else has made it, through the two readers of headers: the owner's own mapping
// (platform/mapping.h) and the consumer's check (common/ztk_shared_view.h).
//
// The owner's mapping is called directly, with memory of the heap in place of an object's pages, so that the
// address sanitizer sees every byte read beyond the header. That needs the linker to lead mmap(), munmap()
// and madvise() here (--wrap).
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "torture/fuzz/header_oracle.h"

namespace ztk::torture {

/// Returns what is not as it must be, or nothing.
std::string CheckOwnView(const HeaderBytes& header);
std::string CheckConsumersView(const HeaderBytes& header, const std::string& name, std::uint64_t nObjectLen);

}  // namespace ztk::torture
