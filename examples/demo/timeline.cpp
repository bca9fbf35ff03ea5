#include "timeline.h"

#include <charconv>

namespace demo {

namespace {

// The number behind @p key, decimal or with 0x in hexadecimal; 0 if the key is not there.
std::uint64_t NumberBehind(std::string_view message, std::string_view key) {
    const std::size_t nAt = message.find(key);
    if (nAt == std::string_view::npos) return 0;
    std::string_view digits = message.substr(nAt + key.size());
    const bool bHexadecimal = digits.substr(0, 2) == "0x";
    if (bHexadecimal) digits.remove_prefix(2);
    std::uint64_t nValue = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), nValue, bHexadecimal ? 16 : 10);
    return nValue;
}

bool Contains(std::string_view message, std::string_view text) {
    return message.find(text) != std::string_view::npos;
}

bool StartsWith(std::string_view message, std::string_view text) {
    return message.substr(0, text.size()) == text;
}

// "2024-02-29T23:59:59.042Z": seconds of the day; negative if the line does not begin with a time.
double SecondOfDay(std::string_view line) {
    constexpr std::string_view kForm = "0000-00-00T00:00:00.000Z";
    if (line.size() < kForm.size()) return -1;
    for (std::size_t i = 0; i < kForm.size(); ++i) {
        const bool bDigit = line[i] >= '0' && line[i] <= '9';
        if (kForm[i] == '0' ? !bDigit : line[i] != kForm[i]) return -1;
    }
    const auto number = [line](std::size_t nAt) {
        return static_cast<double>(NumberBehind(line.substr(nAt), ""));
    };
    return 3600 * number(11) + 60 * number(14) + number(17) + number(20) / 1000;
}

}  // namespace

Timeline::Timeline(std::istream& log) {
    for (std::string line; std::getline(log, line);)
        ReadLine(line);
}

// "<time> <level> <thread> <message>"; lines inside a dump have no time and are passed over.
void Timeline::ReadLine(const std::string& line) {
    const double dTime = SecondOfDay(line);
    const std::size_t nMessage = line.find('[');
    if (dTime < 0 || nMessage == std::string::npos) return;
    dSecondOfDay_ = dTime;
    ReadMessage(std::string_view(line).substr(nMessage));
}

void Timeline::ReadMessage(std::string_view message) {
    constexpr std::string_view kPhase = "[demo]phase ";
    if (StartsWith(message, "[demo]held ")) {
        SetInUse(NumberBehind(message, "held "), true);
    } else if (StartsWith(message, "[demo]given back ")) {
        SetInUse(NumberBehind(message, "given back "), false);
    } else if (StartsWith(message, kPhase)) {
        AddSample();
        phases_.push_back({now_.dSeconds, std::string(message.substr(kPhase.size()))});
    } else if (Contains(message, "Allocate system memory addr=")) {
        nPendingAddress_ = NumberBehind(message, "addr=");
        nPendingSize_ = NumberBehind(message, "size=");
    } else if (Contains(message, "Allocate shared memory addr=")) {
        NewBlock(NumberBehind(message, "addr="), {MemoryKind::kShared, NumberBehind(message, "size=")});
    } else if (Contains(message, "Free system memory addr=") ||
               Contains(message, "Free shared memory addr=")) {
        BlockReturned(NumberBehind(message, "addr="));
    } else if (Contains(message, "memory return 0, nSize = ")) {
        RequestDone(NumberBehind(message, "enMemType=") == 1 ? MemoryKind::kMmz : MemoryKind::kHeap);
    }
}

void Timeline::RequestDone(MemoryKind enKind) {
    ++Counts(enKind).nRequests;
    if (nPendingAddress_ != 0) NewBlock(nPendingAddress_, {enKind, nPendingSize_});
    nPendingAddress_ = 0;
}

void Timeline::NewBlock(std::uint64_t nAddress, const Owned& block) {
    owned_[nAddress] = block;
    ++Counts(block.enKind).nFromSystem;
    BytesOf(block.enKind).nOwned += block.nSize;
    AddSample();
}

void Timeline::BlockReturned(std::uint64_t nAddress) {
    const auto it = owned_.find(nAddress);
    if (it == owned_.end()) return;
    ++Counts(it->second.enKind).nToSystem;
    BytesOf(it->second.enKind).nOwned -= it->second.nSize;
    owned_.erase(it);
    AddSample();
}

void Timeline::SetInUse(std::uint64_t nAddress, bool bInUse) {
    const auto it = owned_.find(nAddress);
    if (it == owned_.end() || it->second.bInUse == bInUse) return;
    Owned& block = it->second;
    block.bInUse = bInUse;
    if (bInUse && block.enKind == MemoryKind::kShared) ++Counts(block.enKind).nRequests;
    KindBytes& bytes = BytesOf(block.enKind);
    bytes.nInUse = bInUse ? bytes.nInUse + block.nSize : bytes.nInUse - block.nSize;
    AddSample();
}

// Time counts from the first sample; a run may go over midnight.
void Timeline::AddSample() {
    constexpr double kDay = 86400;
    if (samples_.empty()) dStart_ = dSecondOfDay_;
    now_.dSeconds = dSecondOfDay_ - dStart_ + (dSecondOfDay_ < dStart_ ? kDay : 0);
    samples_.push_back(now_);
}

}  // namespace demo
