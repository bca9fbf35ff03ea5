// Texts for the 32 bytes that describe an MMZ block: as the format has them, nearly so, and arbitrary.
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>

#include "torture/fuzz/header_oracle.h"

namespace ztk::torture {

class TextMaker {
  public:
    explicit TextMaker(std::uint64_t nSeed) : random_(nSeed) {}

    /// Exactly the field's size; without a terminator if the text fills it.
    const std::string& Next() {
        text_.clear();
        if (Pick(8) == 0) {
            AppendRandom(kTextField);
        } else {
            AppendPieces();
        }
        for (std::uint64_t nSpoils = Pick(4) == 0 ? 1 + Pick(3) : 0; nSpoils > 0 && !text_.empty(); --nSpoils)
            text_[Pick(text_.size())] = static_cast<char>(Pick(256));
        const bool bZeroes = Pick(2) == 0;
        while (text_.size() < kTextField)
            text_ += bZeroes ? '\0' : static_cast<char>(Pick(256));
        text_.resize(kTextField);
        return text_;
    }

    std::uint64_t Pick(std::uint64_t nBelow) { return (random_() & 0xffffffffU) * nBelow >> 32U; }

  private:
    void AppendRandom(std::size_t nBytes) {
        for (; nBytes > 0; --nBytes)
            text_ += static_cast<char>(Pick(256));
    }

    void AppendDigits(const char* szDigits, std::uint64_t nKinds) {
        for (std::uint64_t nDigits = Pick(22); nDigits > 0; --nDigits)
            text_ += szDigits[Pick(nKinds)];
    }

    void AppendOneOf(std::initializer_list<const char*> pieces) {
        text_ += *(pieces.begin() + Pick(pieces.size()));
    }

    void AppendPieces() {
        AppendOneOf({"MMZ_", "MMZ_", "MMZ_", "MMZ_", "MMZ_", "MMZ_", "MMZ", "mmz_", " MMZ_", ""});
        AppendOneOf({"", "", "", "-", "+", " ", "\t", " -", "- ", "--", "0x"});
        AppendDigits("0123456789", 10);
        AppendOneOf({"_", "_", "_", "_", "_", "_", "_", "", "__", " _", "-", "\n"});
        AppendOneOf({"0x", "0x", "0x", "", "0X", " 0x", "-0x", "+", "(nil)", "(NIL)", "(ni", "-(nil)", "0x0x",
                     "x", "%p"});
        AppendDigits("0123456789abcdefABCDEFgx%_", Pick(4) == 0 ? 26 : 22);
    }

    std::mt19937_64 random_;
    std::string text_;
};

}  // namespace ztk::torture
