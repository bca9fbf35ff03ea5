#include "top_dialog.h"

#include <fmt/format.h>

#include <charconv>

namespace ztkmem {
namespace {

constexpr double kLeastDelay = 0.1;
constexpr double kMostDelay = 3600;
constexpr std::size_t kLongestAnswer = 8;

bool BelongsToNumber(int nKey) {
    return (nKey >= '0' && nKey <= '9') || nKey == '.';
}

}  // namespace

std::optional<double> ParseDelay(std::string_view text) {
    double delay = 0;
    const char* pEnd = text.data() + text.size();
    const auto [pStop, enError] = std::from_chars(text.data(), pEnd, delay, std::chars_format::fixed);
    if (enError != std::errc() || pStop != pEnd) return std::nullopt;
    if (!(delay >= kLeastDelay && delay <= kMostDelay)) return std::nullopt;
    return delay;
}

std::vector<std::string> TopHelp(double delay) {
    return {fmt::format("ztkmem top looks again every {:.1f} s", delay),
            "  q           quit",
            "  < >         sort by the one before, the next of",
            "              resident, length, segments, growth, pid",
            "  M N         sort by resident, by pid",
            "  R           reverse",
            "  d s         another delay",
            "  Space       look now",
            "  arrows, Page Up, Page Down, Home, End   move",
            "  h ?         this help; any key leaves it"};
}

void DelayQuestion::Open() {
    typed_.clear();
    bOpen_ = true;
    bWrong_ = false;
}

std::string DelayQuestion::Line(double delay) const {
    if (bWrong_) return "that is no delay: 0.1 to 3600 seconds";
    return fmt::format("Change delay from {:.1f} to {}_", delay, typed_);
}

std::optional<double> DelayQuestion::Answer() {
    const auto delay = ParseDelay(typed_);
    bWrong_ = !delay && !typed_.empty();
    bOpen_ = bWrong_;
    typed_.clear();
    return delay;
}

std::optional<double> DelayQuestion::Press(int nKey) {
    bWrong_ = false;
    if (nKey == kEnter) return Answer();
    if (nKey == kEscape) bOpen_ = false;
    if (nKey == kBackspace && !typed_.empty()) typed_.pop_back();
    if (BelongsToNumber(nKey) && typed_.size() < kLongestAnswer) typed_ += static_cast<char>(nKey);
    return std::nullopt;
}

}  // namespace ztkmem
