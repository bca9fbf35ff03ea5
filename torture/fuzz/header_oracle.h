// What must become of a segment's 128-byte header, told apart from the library and from the consumer's
// header.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "common/ztk_shared_view.h"

namespace ztk::torture {

using HeaderBytes = std::array<unsigned char, 128>;

constexpr std::size_t kAtDataLen = 0;
constexpr std::size_t kAtByMmz = 9;
constexpr std::size_t kAtHeaderLen = 14;
constexpr std::size_t kAtName = 16;
constexpr std::size_t kNameField = 80;
constexpr std::size_t kAtText = 96;
constexpr std::size_t kTextField = 32;

/// A header as an owner writes it.
HeaderBytes GoodHeader(std::string_view name, std::uint64_t nObjectLen);
void PutNumber(HeaderBytes& header, std::size_t nOffset, std::uint64_t nValue, std::size_t nBytes);

/// What the owner's own mapping does with a header that somebody has changed.
enum class OwnView { kMapped, kBadLength, kMmzUnreadable, kMmzRefused };
OwnView JudgeOwnView(const HeaderBytes& header);

/// What a consumer that opens @p name is told of an object of @p nObjectLen bytes with that header.
ZtkViewStatus JudgeConsumersView(const HeaderBytes& header, std::string_view name, std::uint64_t nObjectLen);

/// True if a text begins with "MMZ_", a decimal number, "_" and an address as %p reads it.
bool IsMmzText(std::string_view text);

}  // namespace ztk::torture
