#include "torture/fuzz/header_oracle.h"

#include <algorithm>

namespace ztk::torture {
namespace {

/// A text that is read from the front.
class Reader {
  public:
    explicit Reader(std::string_view text) : text_(text) {}

    bool Take(char c) {
        if (text_.empty() || text_.front() != c) return false;
        text_.remove_prefix(1);
        return true;
    }
    bool TakeAll(std::string_view wanted) {
        return std::all_of(wanted.begin(), wanted.end(), [this](char c) { return Take(c); });
    }
    void SkipBlanks() {
        while (!text_.empty() &&
               std::string_view(" \t\n\v\f\r").find(text_.front()) != std::string_view::npos)
            text_.remove_prefix(1);
    }
    bool TakeSign() { return Take('-') || Take('+'); }
    /// How many digits stood there.
    std::size_t TakeDigits(std::string_view digits) {
        const std::size_t nEnd = std::min(text_.find_first_not_of(digits), text_.size());
        text_.remove_prefix(nEnd);
        return nEnd;
    }
    bool BeginsWithNil() const {
        static constexpr std::string_view kNil = "(nil)";
        return text_.size() >= kNil.size() &&
               std::equal(kNil.begin(), kNil.end(), text_.begin(), [](char a, char b) {
                   return a == b || (b >= 'A' && b <= 'Z' && a == b + ('a' - 'A'));
               });
    }

  private:
    std::string_view text_;
};

bool TakeDecimal(Reader& reader) {
    reader.SkipBlanks();
    reader.TakeSign();
    return reader.TakeDigits("0123456789") > 0;
}

/// Hexadecimal digits, with or without 0x (which the C library takes for a 0 also when no digit follows); or
/// "(nil)".
bool TakeAddress(Reader& reader) {
    reader.SkipBlanks();
    const bool bSigned = reader.TakeSign();
    if (!bSigned && reader.BeginsWithNil()) return true;
    return reader.TakeDigits("0123456789abcdefABCDEF") > 0;
}

std::uint64_t NumberAt(const HeaderBytes& header, std::size_t nOffset, std::size_t nBytes) {
    std::uint64_t nValue = 0;
    for (std::size_t i = nBytes; i > 0; --i)
        nValue = nValue << 8U | header.at(nOffset + i - 1);
    return nValue;
}

bool BearsName(const HeaderBytes& header, std::string_view name) {
    if (name.size() > kNameField) return false;
    for (std::size_t i = 0; i < kNameField; ++i) {
        const auto nWanted = static_cast<unsigned char>(i < name.size() ? name[i] : '\0');
        if (header.at(kAtName + i) != nWanted) return false;
    }
    return true;
}

}  // namespace

void PutNumber(HeaderBytes& header, std::size_t nOffset, std::uint64_t nValue, std::size_t nBytes) {
    for (std::size_t i = 0; i < nBytes; ++i)
        header.at(nOffset + i) = static_cast<unsigned char>(nValue >> 8 * i);
}

HeaderBytes GoodHeader(std::string_view name, std::uint64_t nObjectLen) {
    HeaderBytes header{};
    PutNumber(header, kAtDataLen, nObjectLen - header.size(), 8);
    PutNumber(header, kAtHeaderLen, header.size(), 2);
    std::copy(name.begin(), name.end(), header.begin() + kAtName);
    return header;
}

bool IsMmzText(std::string_view text) {
    Reader reader(text);
    return reader.TakeAll("MMZ_") && TakeDecimal(reader) && reader.Take('_') && TakeAddress(reader);
}

OwnView JudgeOwnView(const HeaderBytes& header) {
    const std::uint64_t nHeaderLen = NumberAt(header, kAtHeaderLen, 2);
    if (nHeaderLen != 0 && nHeaderLen != header.size()) return OwnView::kBadLength;
    if (header.at(kAtByMmz) == 0) return OwnView::kMapped;
    std::string_view text(reinterpret_cast<const char*>(header.data()) + kAtText, kTextField);
    text = text.substr(0, text.find('\0'));
    return IsMmzText(text) ? OwnView::kMmzRefused : OwnView::kMmzUnreadable;
}

ZtkViewStatus JudgeConsumersView(const HeaderBytes& header, std::string_view name, std::uint64_t nObjectLen) {
    if (nObjectLen < header.size()) return ZTK_VIEW_TOO_SHORT;
    if (NumberAt(header, kAtHeaderLen, 2) != header.size()) return ZTK_VIEW_BAD_HEADER;
    if (header.at(kAtByMmz) != 0) return ZTK_VIEW_MMZ_DESCRIBED;
    if (NumberAt(header, kAtDataLen, 8) + header.size() != nObjectLen ||
        NumberAt(header, kAtDataLen, 8) > nObjectLen) {
        return ZTK_VIEW_WRONG_LENGTH;
    }
    return BearsName(header, name) ? ZTK_VIEW_OK : ZTK_VIEW_NAME_MISMATCH;
}

}  // namespace ztk::torture
