// Objects in /dev/shm as owners, strangers and attackers might have left them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ztkmem::test {

using Bytes = std::vector<std::uint8_t>;

/// Beyond the largest id that Linux gives: nobody has it, ever.
constexpr int kNobody = 5000001;

constexpr char kDigits[] = "0123456789abcdef0123456789abcdef";

/// As the library makes them, with the same 32 digits always.
std::string PoolName(int nOwner);

/// A header as an owner stamps it, written out byte by byte apart from the code under test.
Bytes HeaderOf(const std::string& name, std::uint64_t nDataLen);

/// Bytes that differ from their neighbours.
Bytes Pattern(std::size_t nSize);

void WriteObject(const std::string& name, const Bytes& bytes);

/// A good segment: header and @p data.
void WriteSegment(const std::string& name, const Bytes& data);

void SetAge(const std::string& name, std::int64_t nSeconds);

bool Exists(const std::string& name);

}  // namespace ztkmem::test
