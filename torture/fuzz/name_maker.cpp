#include "torture/fuzz/name_maker.h"

namespace ztk::torture {
namespace {

constexpr std::size_t kLongestName = 255;

/// Texts in the place of a process id.
const std::vector<std::string>& OddIds() {
    static const std::vector<std::string> ids = {"",
                                                 "0",
                                                 "00",
                                                 "-0",
                                                 "-1",
                                                 "--1",
                                                 "1",
                                                 "+1",
                                                 " 1",
                                                 "\t\n 1",
                                                 "1 ",
                                                 "0x10",
                                                 "1e3",
                                                 "-",
                                                 "4194304",
                                                 "4999999",
                                                 "2147483647",
                                                 "2147483648",
                                                 "4294967295",
                                                 "4294967296",
                                                 "4294967297",
                                                 "-4294967297",
                                                 "9223372036854775807",
                                                 "9223372036854775808",
                                                 "-9223372036854775808",
                                                 "-9223372036854775809",
                                                 "18446744073709551615",
                                                 "99999999999999999999",
                                                 "00000000000000000001",
                                                 "%n",
                                                 "%s%n%n",
                                                 "\xff\xfe",
                                                 "\xc3\x28",
                                                 "\n",
                                                 "abc",
                                                 "1abc",
                                                 "\x7f\x01"};
    return ids;
}

}  // namespace

NameMaker::NameMaker(std::uint64_t nSeed, std::vector<std::string> ids)
    : random_(nSeed), ids_(std::move(ids)) {
    name_.reserve(1024);
}

const std::string& NameMaker::Next() {
    name_.clear();
    const std::uint32_t nKind = Pick(16);
    if (nKind < 6) {
        MakeWellFormed();
    } else if (nKind < 13) {
        MakeOfPieces();
    } else {
        AppendRandom(1 + Pick(nKind == 13 ? 255 : 24));
    }
    for (std::uint32_t nSpoils = nKind % 4 == 3 ? 1 + Pick(3) : 0; nSpoils > 0; --nSpoils)
        Spoil();
    Fit();
    return name_;
}

void NameMaker::AppendId() {
    const std::uint32_t nKind = Pick(8);
    if (nKind < 4 && !ids_.empty()) {
        name_ += ids_[Pick(static_cast<std::uint32_t>(ids_.size()))];
    } else if (nKind < 6) {
        name_ += OddIds()[Pick(static_cast<std::uint32_t>(OddIds().size()))];
    } else if (nKind == 6) {
        name_ += std::to_string(random_() >> Pick(63));
    } else {
        for (std::uint32_t nDigits = 1 + Pick(24); nDigits > 0; --nDigits)
            name_ += static_cast<char>('0' + Pick(10));
    }
}

void NameMaker::AppendRandom(std::size_t nBytes) {
    for (; nBytes > 0; --nBytes)
        name_ += static_cast<char>(1 + Pick(255));
}

void NameMaker::AppendMark() {
    static constexpr const char* kMarks[] = {"ZTKTool", "ZTKTool", "ZTKTool",  "ZTKToo",
                                             "ztktool", "ZTKTooL", "ZZTKTool", "ZTKZTKTool"};
    name_ += kMarks[Pick(8)];
}

void NameMaker::MakeWellFormed() {
    name_ += "ZTKTool-";
    AppendId();
    name_ += '-';
    for (int nDigit = 0; nDigit < 32; ++nDigit)
        name_ += "0123456789abcdef"[Pick(16)];
}

/// Marks, ids, dashes and noise in any order.
void NameMaker::MakeOfPieces() {
    for (std::uint32_t nPieces = 1 + Pick(9); nPieces > 0; --nPieces) {
        switch (Pick(6)) {
            case 0:
                AppendMark();
                break;
            case 1:
                AppendId();
                break;
            case 2:
                AppendRandom(Pick(8));
                break;
            case 3:
                name_.append(Pick(64) == 0 ? Pick(255) : Pick(4), static_cast<char>('0' + Pick(10)));
                break;
            default:
                name_ += '-';
        }
    }
}

/// One byte more, one less, or another.
void NameMaker::Spoil() {
    if (name_.empty()) return;
    const auto nPlace = static_cast<std::ptrdiff_t>(Pick(static_cast<std::uint32_t>(name_.size())));
    const char cByte = Pick(3) == 0 ? '-' : static_cast<char>(1 + Pick(255));
    switch (Pick(3)) {
        case 0:
            name_.erase(name_.begin() + nPlace);
            break;
        case 1:
            name_.insert(name_.begin() + nPlace, cByte);
            break;
        default:
            name_[static_cast<std::size_t>(nPlace)] = cByte;
    }
}

void NameMaker::Fit() {
    if (name_.size() > kLongestName) name_.resize(kLongestName);
    for (char& c : name_) {
        if (c == '/') c = '.';
    }
    if (name_.empty() || name_ == "." || name_ == "..") name_ = "x";
}

}  // namespace ztk::torture
