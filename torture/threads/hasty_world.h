#pragma once

#include <cstdint>

namespace ztk::torture {

void SetLogLevel(int nLevel);
std::uint64_t CountLogLines();

}  // namespace ztk::torture
