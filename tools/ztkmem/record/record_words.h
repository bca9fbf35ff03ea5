// How the commands on recordings name things.
#pragma once

#include <cstdint>
#include <string>

#include "record/books.h"

namespace ztkmem::record {

const char* NameOf(Kind enKind);
/// "below 20M", "20M to 50M", ...
std::string ClassName(std::int32_t nClass);
/// "heap below 20M"
std::string ShelfName(const Shelf& shelf);
/// The function of the library that was called.
const char* NameOf(Operation enOperation);
/// "12.345 s"
std::string Seconds(std::uint64_t nNs);
/// "ERR_NO_MEMORY", or the number.
std::string StatusName(std::uint32_t nStatus);
/// "97.3%", or "-" of nothing.
std::string Percent(std::uint64_t nPart, std::uint64_t nWhole);

}  // namespace ztkmem::record
