// What /proc/meminfo says to the library.
#pragma once

#include <cstdint>

namespace ztk::torture {

constexpr std::uint64_t kPlenty = std::uint64_t{8} << 30U;
constexpr std::uint64_t kScarce = std::uint64_t{100} << 20U;

/// To be called once, before the first run: the texts are files without a name that stay open.
void MakeMemInfoTexts();

/// There is plenty of memory; or too little, for the next @p nReadings readings (-1: for all).
void LetMemoryBePlenty();
void LetMemoryBeScarce(int nReadings);

/// The file to be opened instead of @p szPath for the next reading; @p szPath itself if it is another.
const char* InPlaceOf(const char* szPath);

}  // namespace ztk::torture
