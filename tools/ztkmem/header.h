// The 128 bytes at the start of every segment: taken apart, and judged against the object that holds them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "segment_name.h"

namespace ztkmem {

constexpr std::size_t kHeaderSize = 128;
using HeaderBytes = std::array<std::uint8_t, kHeaderSize>;

struct Header {
    std::uint64_t nDataLen = 0;
    std::uint8_t byReserved8 = 0;
    std::uint8_t byMmz = 0;
    std::array<std::uint8_t, 4> reserved{};
    std::uint16_t nHeaderLen = 0;
    std::string name;  ///< up to the zeros that fill the field
    std::string mmz;   ///< up to the first zero
    bool bAllZero = false;
};

/// All bytes are valid input; integers are in this machine's byte order, as their writer's was.
Header DecodeHeader(const HeaderBytes& bytes);

enum class HeaderState {
    kGood,
    kOverwritten,  ///< a pool segment without its header: its owner wrote data from the first byte on
    kForeign,      ///< no header was ever here, or it is that of another object
    kTooShort,     ///< no room for one
    kMmz,          ///< describes an MMZ block; no data here
    kBlank,        ///< all zero: about to be stamped, or cleared by its owner
    kUnreadable,   ///< no permission, or it vanished
    kNoObject,     ///< a directory, link, pipe or socket
};

const char* HeaderStateText(HeaderState enState);

struct HeaderVerdict {
    HeaderState enState = HeaderState::kUnreadable;
    std::vector<std::string> reasons;  ///< each a short sentence, safe to print
};

/// @p nObjectLen is the object's real length, at least kHeaderSize.
HeaderVerdict JudgeHeader(const Header& header, std::string_view objectName, NameKind enKind,
                          std::uint64_t nObjectLen);

/// The verdict on an object that has no room for a header.
HeaderVerdict JudgeTooShort(std::uint64_t nObjectLen);

struct MmzPlace {
    std::int64_t nPhysical = 0;
    std::uint64_t nVirtual = 0;
};

/// Reads "MMZ_<physical, decimal>_<virtual, hexadecimal>".
std::optional<MmzPlace> ParseMmz(std::string_view text);

}  // namespace ztkmem
