// Bytes as hexadecimal digits and characters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ztkmem {

/// 16 bytes a line, with their place counted from @p nFirst on; lines that repeat the one before are left
/// out, with a "*" in their stead.
std::string HexDump(const std::vector<std::uint8_t>& bytes, std::uint64_t nFirst);

}  // namespace ztkmem
